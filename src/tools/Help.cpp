#include "tools/Help.h"

namespace pellora {

const char* const kHelp =
    "Usage: pelloractl COMMAND [OPTION]... [ARGUMENT]...\n"
    "\n"
    "  add     adds URLs and prints an id for each\n"
    "  list    prints all downloads\n"
    "  wait    returns when downloads have ended\n"
    "  pause   stops downloads; what they have received is kept\n"
    "  resume  starts or continues downloads\n"
    "  remove  takes downloads out of the list\n"
    "  limit   sets the highest speed\n"
    "  open    shows Pellora's window, or that of a download\n"
    "  zip     lists what is in a remote ZIP archive, or gets files out of it\n"
    "  quit    ends Pellora\n"
    "\n"
    "\"pelloractl COMMAND --help\" describes one of them. No command makes Pellora ask a question.\n"
    "\n"
    "A download is named by its id or by its URL. An id belongs to one download for good: it stays the same when\n"
    "Pellora is started again, and is never given to another download, also not after its own was removed. Of two\n"
    "downloads with one URL, which only redirects can make, a URL names the first.\n"
    "\n"
    "Exit codes:\n"
    "  0  everything was done (wait: everything is finished)\n"
    "  1  something was refused, or a download has failed, was paused or has left the list\n"
    "  2  wrong arguments; nothing was done\n"
    "  3  Pellora does not run and could not be started, or does not reply\n"
    "  4  time-out\n";

const char* const kAddHelp =
    "Usage: pelloractl add [OPTION]... URL or METALINK...\n"
    "       pelloractl add [OPTION]... -i FILE\n"
    "\n"
    "Adds the URLs, and prints the id of each in a line. The session bus starts Pellora if necessary. A URL that is\n"
    "refused or already listed is reported on standard error; the others are added.\n"
    "\n"
    "A file that ends in \".meta4\" or \".metalink\", or has the contents of one, is a Metalink: its files are added, "
    "and\n"
    "the id of each is printed. The URL of a Metalink has one id. Once the Metalink is there, the first of its files "
    "takes\n"
    "over this id, so that \"wait\" waits for the Metalink and then for that file; \"list\" shows those of the "
    "others.\n"
    "They get the options of the add, but login and cookies only if they are on the Metalink's own server.\n"
    "\n"
    "  -i, --input FILE     also adds the URLs in a file, one a line, or those of a Metalink; \"-\" is the\n"
    "                       standard input. No windows open.\n"
    "  -o, --output NAME    the name of the file. With a \"/\" in it, it is a path in the current folder or a full "
    "one,\n"
    "                       else a name in the folder of --folder or of Pellora's settings\n"
    "      --folder DIR     the folder of the file, which must exist\n"
    "      --user NAME      logs in; the password comes by --password-stdin\n"
    "      --password-stdin reads the password from the first line of standard input, on a terminal without echo\n"
    "      --checksum TEXT  what the file must have: MD5, SHA-1, SHA-256 or SHA-512 in hexadecimal digits\n"
    "      --referer URL    the page that the download belongs to\n"
    "      --cookies FILE   a file of cookies in the format of Netscape, as browsers' extensions export them (\"-\":\n"
    "                       standard input); those that a browser would send to the URL's host go there, and no "
    "others\n"
    "      --limit KIB      its highest speed, in KiB/s\n"
    "      --later          puts it into the list without starting it\n"
    "      --at \"YYYY-MM-DD HH:MM\"\n"
    "                       starts it at that time\n"
    "      --on-duplicate no|yes\n"
    "                       what happens with a URL in the list: it is refused (\"no\"), or downloaded again from the\n"
    "                       beginning (\"yes\")\n"
    "      --json           prints an object a line: url, and id or reason\n"
    "\n"
    "Passwords and cookies are never arguments, which every user can read in the process list. Pellora keeps them in\n"
    "memory alone, but for the password of a download of the classic engine, which is in its list file.\n";

const char* const kListHelp =
    "Usage: pelloractl list [--json]\n"
    "\n"
    "Prints each download in a line of fields separated by tabs: index, state, percent, bytes received, size, URL,\n"
    "saved path, id, \"no byte for N s\" if it is active and its server has been silent for ten seconds or more, and,\n"
    "where there is one, the reason why it has failed or waits. States: finished, active, scheduled, failed, queued,\n"
    "paused, waiting.\n"
    "\n"
    "  --json  prints an object a line: id, index, name, url, state, percent, received, size, path, speed (bytes a\n"
    "          second), silent (seconds), limit (KiB/s), reason; null is what is not known or does not apply\n";

const char* const kWaitHelp =
    "Usage: pelloractl wait [OPTION]... [ID, INDEX or URL]...\n"
    "\n"
    "Returns when each of the given downloads, or of all now listed, has ended, and prints a line for each. What is "
    "not\n"
    "in the list is waited for during ten seconds.\n"
    "\n"
    "  --progress         on a terminal, also draws one line for each download that has not ended\n"
    "  --timeout SECONDS  gives up after that time\n"
    "  --json             prints an object for each that has ended: those of \"list\", outcome (finished or failed) "
    "and\n"
    "                     given (the argument that named it)\n";

const char* const kPauseHelp =
    "Usage: pelloractl pause ID or URL...\n"
    "       pelloractl pause --all\n"
    "\n"
    "Stops running downloads; what they have received is kept. --all stops all that are running, as the toolbar does:\n"
    "queued ones then take their places.\n";

const char* const kResumeHelp =
    "Usage: pelloractl resume [ID or URL]...\n"
    "\n"
    "Starts or continues the given downloads, or all that are not running, as many at once as the settings allow.\n";

const char* const kRemoveHelp =
    "Usage: pelloractl remove ID or URL...\n"
    "\n"
    "Takes downloads out of the list. What an unfinished one has received is deleted; finished files stay.\n";

const char* const kLimitHelp =
    "Usage: pelloractl limit [--json]\n"
    "       pelloractl limit KIB|off\n"
    "       pelloractl limit ID or URL KIB|off\n"
    "\n"
    "Without an argument, prints the limit of all downloads together, in KiB/s, or \"off\". Else sets this limit, or "
    "that\n"
    "of one download. Both count at once. That of a download of the classic engine lasts until Pellora ends.\n"
    "\n"
    "  --json  prints an object: limit, which is null for \"off\"\n";

const char* const kOpenHelp =
    "Usage: pelloractl open [ID or URL]\n"
    "\n"
    "Shows Pellora's window, and starts Pellora if necessary; or shows the window of a download that has been started\n"
    "since Pellora was.\n";

const char* const kZipHelp =
    "Usage: pelloractl zip list [OPTION]... URL\n"
    "       pelloractl zip get [OPTION]... --to DIR URL PATTERN...\n"
    "\n"
    "\"list\" prints each entry of a ZIP archive in a line of fields separated by tabs: name, size, packed size, time "
    "(on\n"
    "the clock of its maker) and, where there is one, a remark: \"encrypted\", or why it cannot be unpacked. Folders "
    "end\n"
    "with \"/\". \"get\" adds one download of the files that have one of these names or are in one of these folders, "
    "and\n"
    "prints its id. Only their bytes are fetched, and each file is unpacked into its folder below DIR once it is "
    "there.\n"
    "The session bus starts Pellora if necessary. The archive can be on any server of the web engine that sends parts "
    "of "
    "files.\n"
    "\n"
    "A PATTERN is a name as \"list\" prints it; \"*\" stands for any characters, also for \"/\", and \"?\" for one. "
    "'*' is\n"
    "all files. Quote patterns, or the shell replaces them.\n"
    "\n"
    "      --to DIR         the folder to unpack into, which must exist\n"
    "      --existing number|replace|keep\n"
    "                       what happens if a file is there already: the new one gets a number (\"number\", as without "
    "this\n"
    "                       option), or its place (\"replace\"), or is left out (\"keep\")\n"
    "      --user NAME      logs in; the password comes by --password-stdin\n"
    "      --password-stdin reads the password of the login from the first line of standard input, on a terminal "
    "without\n"
    "                       echo\n"
    "      --archive-password-stdin\n"
    "                       reads the password of encrypted entries likewise, from the next line if both are given\n"
    "      --json           prints an object a line: of \"list\" name, size, packed, time and remark, the last two "
    "null "
    "if\n"
    "                       there is none; of \"get\" url, and id or reason\n";

const char* const kQuitHelp =
    "Usage: pelloractl quit\n"
    "\n"
    "Pauses everything, saves the list, ends Pellora and returns when it has ended.\n";

}  // namespace pellora
