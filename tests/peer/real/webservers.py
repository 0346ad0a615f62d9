"""Servers for the web engine: nginx with certificates of an authority of the test's own, OpenSSH, vsftpd by TLS."""

import os
import pwd
import shutil
import socket
import subprocess

import ftpservers
import harness
import servers

NAMES = "subjectAltName=IP:127.0.0.1,IP:::1,DNS:localhost,DNS:both.pellora.test"


class Authority:
    """A folder with the authority's certificate in ca.pem, and NAME.pem and NAME.key for each kind of server."""

    def __init__(self):
        self.folder = harness.Stage.get().new_folder("authority")
        os.chmod(self.folder, 0o755)
        self.file = os.path.join(self.folder, "ca.pem")
        self.new_key("ca", "Authority", "-x509", "-days", "30")
        self.issue("right", NAMES, 30)
        self.issue("expired", NAMES, -1)
        self.issue("other_host", "subjectAltName=DNS:elsewhere.example", 30)
        self.new_key("self_signed", "127.0.0.1", "-x509", "-days", "30", "-addext", NAMES)

    def openssl(self, *arguments):
        subprocess.run(["openssl", *arguments], cwd=self.folder, check=True, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def new_key(self, name, subject, *options):
        self.openssl("req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-keyout", name + ".key",
                     "-out", name + ".pem", "-subj", "/CN=" + subject, *options)

    def issue(self, name, names, days):
        self.new_key(name, "127.0.0.1")
        with open(os.path.join(self.folder, "names"), "w", encoding="ascii") as f:
            f.write(names + "\n")
        request = name + ".csr"
        os.rename(os.path.join(self.folder, name + ".pem"), os.path.join(self.folder, request))
        self.openssl("x509", "-req", "-in", request, "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial", "-days",
                     str(days), "-extfile", "names", "-out", name + ".pem")

    def lines(self, name="right"):
        """Of nginx, for a server by TLS."""
        return "ssl on; ssl_certificate %s/%s.pem; ssl_certificate_key %s/%s.key; " % (
            self.folder, name, self.folder, name)


class TlsNginx(servers.Nginx):
    """Ports by https: `plain`; `slow` at 1 MiB/s for each connection; `whole` without ranges; `expired`, `other_host` and
    `self_signed` by their certificates. `clear` is by http.

    Paths of each: /to/SCHEME/PORT/NAME redirects there; /download.php is a file with another name; what is in /private/
    needs the login joe, s3cret; /like-a-proxy has the status 407."""

    def __init__(self):
        self.trust = Authority()
        self.authority = self.trust.file
        right = self.trust.lines()
        self.six = servers.free_port()
        self.rules = {
            "plain": right + "listen [::1]:%d ssl;" % self.six, "slow": right + "limit_rate 1m;",
            "whole": right + "max_ranges 0;", "clear": "",
            **{name: self.trust.lines(name) for name in ("expired", "other_host", "self_signed")}}
        passwords = os.path.join(self.trust.folder, "passwords")
        with open(passwords, "w", encoding="ascii") as f:
            f.write("joe:{PLAIN}s3cret\n")
        for name in self.rules:
            self.rules[name] += (
                " location ~ ^/to/(https?)/([0-9]+)/(.*)$ { return 302 $1://127.0.0.1:$2/$3; }"
                " location = /like-a-proxy { return 407; }"
                " location = /download.php { alias %s; add_header Content-Disposition "
                "\"attachment; filename*=UTF-8''na%%C3%%AFve%%20file.bin\"; }"
                " location /private/ { auth_basic files; auth_basic_user_file %s; rewrite ^/private(/.*)$ $1 break; }"
                % ("{files}/small.bin", passwords))
        super().__init__()

    def rules_of(self, name):
        return self.rules[name].replace("{files}", self.files)

    def url(self, port, name):
        return "%s://%s:%d/%s" % ("http" if port == self.clear else "https", self.address, port, name)

    def log(self):
        with open(os.path.join(self.folder, "access.log"), encoding="utf-8") as f:
            return f.read().splitlines()

    def sent(self, since=0):
        """Bytes of the bodies of replies, as far as they are in the log."""
        return sum(int(line.split()[9]) for line in self.log()[since:])

    def put_sparse(self, name, size, pieces):
        """A file of zeros but for some pieces of bytes by their offsets."""
        with open(os.path.join(self.files, name), "wb") as f:
            f.truncate(size)
            for offset, data in pieces.items():
                f.seek(offset)
                f.write(data)


class TlsVsftpd(ftpservers.Vsftpd):
    """TLS from the first byte."""

    def __init__(self, authority, **options):
        self.authority = authority
        super().__init__(**options)

    def configuration(self):
        return super().configuration() + [
            "ssl_enable=YES", "implicit_ssl=YES", "allow_anon_ssl=YES", "force_anon_data_ssl=YES",
            "force_anon_logins_ssl=YES", "require_ssl_reuse=NO", "rsa_cert_file=%s/right.pem" % self.authority.folder,
            "rsa_private_key_file=%s/right.key" % self.authority.folder]

    def url(self, name, login=None):
        return "ftps://%s:%d/%s" % (self.address, self.port, name)


class OpenSsh:
    """One user, who logs in with the key `key`. Root runs it as another user, since it would need an account for itself
    otherwise."""

    sftp = "internal-sftp"  # the command that serves files
    env = None  # of sshd, which gives its commands another

    def __init__(self):
        stage = harness.Stage.get()
        os.chmod(stage.folder, 0o755)
        self.folder = stage.new_folder("sshd")
        os.chmod(self.folder, 0o755)
        account = pwd.getpwnam("games") if os.geteuid() == 0 else pwd.getpwuid(os.geteuid())
        self.user = account.pw_name
        self.port = servers.free_port()
        self.key = os.path.join(self.folder, "user")
        for name in ("user", "host", "changed"):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", os.path.join(self.folder, name)],
                           stdin=subprocess.DEVNULL, check=True)
            if os.geteuid() == 0 and name != "user":
                os.chown(os.path.join(self.folder, name), account.pw_uid, account.pw_gid)
        self.prefix = ["setpriv", "--reuid=%d" % account.pw_uid, "--regid=%d" % account.pw_gid,
                       "--clear-groups"] if os.geteuid() == 0 else []
        self.start("host")

    def start(self, host_key):
        config = os.path.join(self.folder, "sshd.conf")
        with open(config, "w", encoding="ascii") as f:
            f.write("Port %d\nListenAddress 127.0.0.1\nHostKey %s\nPidFile none\nAuthorizedKeysFile %s.pub\n"
                    "StrictModes no\nPasswordAuthentication no\nSubsystem sftp internal-sftp\n"
                    "ForceCommand %s\nMaxStartups 100\nLogLevel QUIET\n" %
                    (self.port, os.path.join(self.folder, host_key), self.key, self.sftp))
        program = os.path.join(ftpservers.PACKAGES, "openssh-server/usr/sbin/sshd")
        self.process = subprocess.Popen([*self.prefix, program, "-D", "-e", "-f", config], env=self.env,
                                        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                        start_new_session=True)
        servers.wait_port(self.port, self.process)

    def put(self, name, data):
        path = os.path.join(self.folder, name)
        with open(path, "wb") as f:
            f.write(data)
        os.chmod(path, 0o644)

    def url(self, name):
        return "sftp://%s@127.0.0.1:%d%s" % (self.user, self.port, os.path.join(self.folder, name))

    def befriend(self, home):
        """Gives the user with this new home the login key, and the host's key as that of a known host."""
        folder = os.path.join(home, ".ssh")
        os.mkdir(folder, 0o700)
        shutil.copy(self.key, os.path.join(folder, "id_ed25519"))
        with open(os.path.join(self.folder, "host.pub"), encoding="ascii") as f:
            key = " ".join(f.read().split()[:2])
        with open(os.path.join(folder, "known_hosts"), "w", encoding="ascii") as f:
            f.write("[127.0.0.1]:%d %s\n" % (self.port, key))

    def fingerprint(self):
        words = subprocess.run(["ssh-keygen", "-l", "-f", os.path.join(self.folder, "host.pub")], capture_output=True,
                               text=True, check=True).stdout.split()
        return next(word for word in words if word.startswith("SHA256:"))

    def close(self):
        harness.end_process(self.process)


class SilentSix:
    """Like origin.SilentPort, on ::1 and a port that others use on 127.0.0.1."""

    def __init__(self, port):
        self.listener = socket.socket(socket.AF_INET6)
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.listener.bind(("::1", port))
        self.listener.listen(0)
        self.waiting = []
        for _ in range(4):  # these fill its queue
            client = socket.socket(socket.AF_INET6)
            client.setblocking(False)
            client.connect_ex(("::1", port))
            self.waiting.append(client)

    def close(self):
        for each in [*self.waiting, self.listener]:
            each.close()
