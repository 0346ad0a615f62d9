"""vsftpd and proftpd on loopback, each with its own configuration in a folder of the run; they need no root.

Both serve the files of one folder and log every command. vsftpd accepts anonymous users, proftpd one virtual user. The
programs are those in build/packages (scripts/packages.sh)."""

import grp
import os
import pwd
import re
import signal
import subprocess

import harness
import servers

PACKAGES = os.path.join(harness.ROOT, "build/packages")
# The password "s3cret", hashed by crypt(3) with SHA-512.
HASH = "$6$pellora$3vl91Zdopz1VVdvO4PQmYdp5UMtfnegrydKsfsg7Dw1NxcxOuX9xZg0zGQgxSjHMX7olE3AAemYfGVas6gU.b/"


class FtpServer:
    """`rate`: bytes a second for each data connection, 0 for unlimited. `most_logins`: of one host, at the same time.
    `name` identifies the server in messages; `login` precedes the host in its URLs."""

    name = login = wrong_login = None
    address = "127.0.0.1"
    prefix = ()  # a command that runs the server elsewhere

    def __init__(self, rate=0, most_logins=0):
        self.rate = rate
        self.most_logins = most_logins
        stage = harness.Stage.get()
        os.chmod(stage.folder, 0o755)
        self.folder = stage.new_folder(self.name)
        self.files = os.path.join(self.folder, "files")
        os.mkdir(self.files)
        self.commands_file = os.path.join(self.folder, "commands.log")
        self.port = servers.free_port()
        config = os.path.join(self.folder, self.name + ".conf")
        with open(config, "w", encoding="ascii") as f:
            f.write("\n".join(self.configuration()) + "\n")
        self.config = config
        self.start()

    def start(self):
        with open(os.path.join(self.folder, "output.log"), "ab") as log:
            # In its own process group: both fork for each login, and all of these processes must be ended.
            self.process = subprocess.Popen([*self.prefix, *self.command(self.config)], stdin=subprocess.DEVNULL,
                                            stdout=log, stderr=log, start_new_session=True)
        servers.wait_port(self.port, self.process, self.address)

    def configuration(self):
        raise NotImplementedError

    def command(self, config):
        raise NotImplementedError

    def put(self, name, data):
        with open(os.path.join(self.files, name), "wb") as f:
            f.write(data)

    def url(self, name, login=None):
        return "ftp://%s@%s:%d/%s" % (login or self.login, self.address, self.port, name)

    def log(self):
        with open(self.commands_file, encoding="utf-8", errors="replace") as f:
            return f.read()

    def restarts(self):
        """The arguments of every REST command so far."""
        return [int(number) for number in re.findall(r"\bREST (\d+)", self.log())]

    def refusals(self):
        raise NotImplementedError

    def close(self):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGTERM)
            harness.end_process(self.process)


class Vsftpd(FtpServer):
    name = "vsftpd"
    login = "anonymous:x"
    wrong_login = "joe:s3cret"  # it knows only the anonymous user

    def configuration(self):
        # Run as the current user, it needs neither an empty jail nor an account that the machine may lack.
        return [
            "listen=YES", "listen_address=" + self.address, "listen_port=%d" % self.port, "background=NO",
            "run_as_launching_user=YES", "ftp_username=" + pwd.getpwuid(os.geteuid()).pw_name, "seccomp_sandbox=NO", "local_enable=NO", "anonymous_enable=YES",
            "anon_root=" + self.files, "anon_max_rate=%d" % self.rate, "max_per_ip=%d" % self.most_logins,
            "pasv_address=" + self.address, "xferlog_enable=YES", "log_ftp_protocol=YES", "dual_log_enable=YES",
            "vsftpd_log_file=" + self.commands_file, "xferlog_file=" + os.path.join(self.folder, "transfers.log"),
            "dirmessage_enable=YES", "ftpd_banner=Files for everybody"]

    def command(self, config):
        return [os.path.join(PACKAGES, "vsftpd/usr/sbin/vsftpd"), config]

    def refusals(self):
        return self.log().count('"421 There are too many connections')


class Proftpd(FtpServer):
    name = "proftpd"
    login = "joe:s3cret"
    wrong_login = "joe:guess"

    def configuration(self):
        account = pwd.getpwnam("nobody") if os.geteuid() == 0 else pwd.getpwuid(os.geteuid())
        accounts = os.path.join(self.folder, "accounts")
        with open(accounts, "w", encoding="ascii") as f:
            f.write("joe:%s:%d:%d::%s:/bin/false\n" % (HASH, account.pw_uid, account.pw_gid, self.files))
        os.chmod(accounts, 0o600)
        lines = [
            "ServerType standalone", "DefaultAddress " + self.address, "SocketBindTight on", "Port %d" % self.port,
            "UseIPv6 off", "UseReverseDNS off", "WtmpLog off", "DelayEngine off", "ControlsEngine off",
            "User " + account.pw_name, "Group " + grp.getgrgid(account.pw_gid).gr_name, "AuthOrder mod_auth_file.c", "AuthUserFile " + accounts,
            "RequireValidShell off", "PidFile %s/pid" % self.folder, "ScoreboardFile %s/scoreboard" % self.folder,
            "SystemLog %s/system.log" % self.folder, "TransferLog none", 'LogFormat commands "%r -> %s"',
            "ExtendedLog %s ALL commands" % self.commands_file, "DisplayChdir .message"]
        if self.rate:
            lines.append("TransferRate RETR %.3f" % (self.rate / 1024))
        if self.most_logins:
            lines.append("MaxClientsPerHost %d" % self.most_logins)
        return lines

    def command(self, config):
        return [os.path.join(PACKAGES, "proftpd-core/usr/sbin/proftpd"), "--nodaemon", "--config", config]

    def refusals(self):
        return len(re.findall(r"^PASS \(hidden\) -> 530", self.log(), re.M))

