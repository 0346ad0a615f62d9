#include "core/WebTexts.h"

#include <array>
#include <cstddef>

namespace pellora {

namespace {

struct English {
  WebText number;
  const char* text;
};

constexpr std::array kEnglish = {
    English{WebText::Transfers, "Transfers"},
    English{WebText::WhichDownloads, "Downloads of the web engine, which checks every byte :"},
    English{WebText::OnlyNewSchemes, "Only what the classic engine refuses (https, ftps, sftp)"},
    English{WebText::AllDownloads, "All downloads"},
    English{WebText::EngineOff, "Off"},
    English{WebText::RedirectHint, "An http address that leads to https needs \"All downloads\"."},
    English{WebText::ExtraCertificates, "Additional certificates (PEM file) :"},
    English{WebText::BadCertificates,
            "The file of additional certificates cannot be read. Please give its full path, or leave the field empty."},
    English{
        WebText::BadAddress,
        "This is not an address that Pellora can download. It must name a server and may name a port and a path, for "
        "example https://example.com/file.zip"},
    English{WebText::Connecting, "Connecting"},
    English{WebText::Receiving, "Receiving data..."},
    English{WebText::RetryIn, "Retry in %1 s"},
    English{WebText::NoMoreConnections, "Server refuses more connections"},
    English{WebText::WaitingForNetwork, "Waiting for the network"},
    English{WebText::IsOff, "The web engine is off: page \"Transfers\" of the options says what it downloads."},
    English{WebText::IsMissing, "This address needs the web engine, which this copy of Pellora does not have."},
    English{WebText::Unsupported, "Pellora does not support what this address or its server requires."},
    English{WebText::Changed, "The file has changed on the server since the download began."},
    English{WebText::LoginNeeded, "The server requires a user name and a password."},
    English{WebText::NotFound, "The server does not have this file."},
    English{WebText::Refused, "The server refused the download with status %1."},
    English{WebText::NoHost, "There is no host named %1."},
    English{WebText::NotTrusted, "The host %1 is not trusted: %2"},
    English{WebText::NoParts,
            "The server sends no parts of this file, so it can only be downloaded from the beginning."},
    English{WebText::WrongAnswers, "The server's replies contradict each other, so no more of the file was accepted."},
    English{WebText::NoRoom, "There is too little room on the disk: %1 are needed, %2 are free."},
    English{WebText::PartReplaced, "The unfinished file is missing, or another program has changed it."},
    English{WebText::NotWritten, "The file could not be written: %1"},
    English{WebText::LengthNotConfirmed, "The server did not say how long the file is, so it may be incomplete."},
    English{WebText::NoNetwork, "There is no network; the download continues when it is back."},
    English{WebText::AskedToWait, "The server asks for no further request before %1."},
    English{WebText::TooManyTries, "No data arrived in ten tries. %1"},
    English{WebText::FileExists, "A file with this name exists already."},
    English{WebText::ReplacedChanged, "The file that was to be replaced has changed meanwhile."},
    English{WebText::UnknownKey, "The host %1 is unknown. Its key has the fingerprint %2."},
    English{WebText::CookiesGone,
            "This download began with cookies of the browser, which are not kept. Start it from the browser again."},
    English{WebText::ProgressLost, "What this download had received cannot be read any more."},
    English{WebText::ConnectionLost, "The connection to %1 was lost."},
    English{WebText::NotReached, "The host %1 cannot be reached: %2"},
    English{WebText::Silent, "The host %1 does not answer."},
    English{WebText::TooLong, "This disk takes no file that is longer than %1."},
    English{WebText::NoProxy, "The proxy cannot be used: %1"},
    English{WebText::WrongCoding, "The server sends the file in a coding that Pellora does not accept."},
    English{WebText::AskTrustKey, "Trust this server?"},
    English{WebText::AskBeginAnew, "Begin anew? The part that is here is kept until the new file is complete."},
    English{WebText::TrustKey, "Trust"},
    English{WebText::RefuseKey, "Do Not Trust"},
    English{WebText::BeginAnew, "Begin Anew"},
    English{WebText::KeepPart, "Keep This Part"},
    English{
        WebText::NoRoomBeside,
        "There is too little room on the disk: %1 are needed, %2 are free besides what running downloads still need."},
    English{WebText::JournalUnreadable,
            "The journal %1 cannot be read. Until it can be, the web engine starts no download."},
    English{WebText::AskBeginAnewWithoutPart, "Begin anew?"},
    English{WebText::PageGone,
            "The server refused the download with status %1. It may require the page that the download began from, "
            "which is not kept. Start it from the browser again."},
    English{WebText::MirrorLeftOut, "%1 is left out: %2"},
    English{WebText::OtherSize, "The file there does not have the length that was announced."},
    English{WebText::OtherBytes, "The file there has other contents."},
    English{WebText::MirrorUnsafe, "It is not encrypted, and no checksum from a safe source is known."},
    English{WebText::BadMetalink, "This Metalink names no file that Pellora can download."},
    English{
        WebText::ChecksumLost,
        "The classic engine would ignore its checksum. Page \"Transfers\" of the options can give this file to the web "
        "engine."},
    English{WebText::WillBeOverwritten, "%1 exists, and the classic engine will write over it."},
    English{WebText::NotForSeveral, "Name and checksum are for a single file, and are not used here."},
    English{WebText::NotForSeveralServers, "Login and cookies are for a single server, and are not used here."},
    English{WebText::LimitNotStored, "The limit of speed applies, but cannot be stored: %1"},
    English{WebText::More, "More"},
    English{WebText::SaveInFolder, "Folder :"},
    English{WebText::SaveAsName, "File name :"},
    English{WebText::ChecksumField, "Checksum :"},
    English{WebText::ReferringPage, "Referring page :"},
    English{WebText::Cookies, "Cookies :"},
    English{WebText::SpeedLimitField, "Speed limit (KiB/s) :"},
    English{WebText::BeginAt, "Begin on (date, time) :"},
    English{
        WebText::OnlyWebEngine,
        "The classic engine takes only folder, file name, speed limit and, for ftp, a login. The other fields are for "
        "downloads of the web engine: page \"Transfers\" of the options says which these are."},
    English{WebText::BadChecksum,
            "This is no checksum. It must have 32, 40, 64 or 128 hexadecimal digits (MD5, SHA-1, SHA-256 or SHA-512)."},
    English{WebText::BadFolder,
            "No file can be saved in the folder %1. Please give the full path of a folder that exists and that you may "
            "write to."},
    English{WebText::BadFileName, "%1 cannot be the name of a file, or a file with this name exists."},
    English{WebText::BadBeginAt, "This is not a date and a time to come. Please write them as in the proposal."},
    English{WebText::BadPage,
            "The referring page must be an address that begins with http:// or https://, and cookies have the form "
            "name=value; name=value."},
    English{WebText::NameTaken, "%1 exists; the file will be saved as %2."},
    English{WebText::ListedTwice, "This address is in the list already."},
    English{WebText::TooManyAddresses, "Only the first %1 addresses are shown; the rest was left out."},
    English{WebText::BeginsAt, "Begins on %1"},
    English{WebText::AddListCaption, "Add several addresses"},
    English{WebText::DownloadChecked, "Download"},
    English{WebText::CheckAll, "All"},
    English{WebText::CheckNone, "None"},
    English{WebText::CheckedInAll, "Chosen: %1, together %2"},
    English{WebText::LogIn, "Log In..."},
    English{WebText::NotNow, "Not Now"},
    English{WebText::LoginTitle, "Log In"},
    English{WebText::UserName, "User name :"},
    English{WebText::Password, "Password :"},
    English{WebText::Remember, "Remember in the desktop's password store"},
    English{WebText::WrongLogin, "The server refused this user name and password."},
    English{WebText::ProxyLoginNeeded, "The proxy %1 requires a user name and a password."},
    English{WebText::WrongProxyLogin, "The proxy %1 refused this user name and password."},
    English{WebText::NotRemembered,
            "The desktop's password store did not take the login. Pellora keeps it until the program ends."},
    English{WebText::ClassicProxy,
            "The classic engine can use the proxy of the options only if its server is a plain name, without a scheme "
            "and a login."},
    English{WebText::SentUnencrypted, "The password is sent without encryption: others on the way can read it."},
    English{WebText::Realm, "Area: %1"},
    English{WebText::Checking, "Checking %1 %"},
    English{WebText::SeekingChecksums, "Looking for a checksum"},
    English{WebText::ChecksumRight, "%1 checked"},
    English{WebText::ChecksumWrong, "The checksum is wrong: the file's %1 is %2 instead of %3."},
    English{WebText::ChecksumNotComputed, "This system does not compute %1, so the file could not be checked."},
    English{WebText::PiecesWrong, "%1 of the file's %2 pieces have a wrong checksum."},
    English{WebText::NotRead, "The file could not be read: %1"},
    English{WebText::AskFetchAgain, "Fetch it again? The part that is here is kept until the new file is complete."},
    English{WebText::FetchAgain, "Fetch Again"},
    English{WebText::AskFetchPieces, "Fetch the wrong pieces again, %1?"},
    English{WebText::FetchPieces, "Fetch Wrong Pieces Again"},
    English{WebText::SeekChecksums, "Look for checksums beside the file (SHA256SUMS)"},
    English{WebText::RoomFree, "%1 free"},
    English{WebText::NoRoomIn, "There is too little room in %1: %2 are needed, %3 are free."},
    English{WebText::ChangeAddress, "&Change Address..."},
    English{WebText::NewAddressOf, "New address of %1 :"},
    English{WebText::AddressIsListed, "This address is in the list already."},
    English{WebText::AddressKept, "The former address was kept. %1"},
    English{WebText::OtherSizeThere, "At the new address the file has %1 bytes instead of %2."},
    English{WebText::OtherBytesThere,
            "At the new address there is another file: its bytes differ from those that are here."},
    English{WebText::MoveFirst, "&First in the Queue"},
    English{WebText::MoveUp, "&Up in the Queue"},
    English{WebText::MoveDown, "Do&wn in the Queue"},
    English{WebText::MoveLast, "&Last in the Queue"},
    English{WebText::NumberInQueue, "Number %1 in the queue"},
    English{WebText::StayAwake, "Keep the computer awake while data arrives"},
    English{WebText::AwakeBecause, "Downloads are running"},
    English{WebText::OtherThanBrowsers, "The server's answer is not the one that the browser got."},
    English{WebText::ShowNotices, "Show a notice when downloads finish or stop"},
    English{WebText::NoticeFinished, "Download finished"},
    English{WebText::NoticeStopped, "Download stopped"},
    English{WebText::NoticeManyFinished, "%1 downloads finished"},
    English{WebText::NoticeManyStopped, "%1 downloads stopped"},
    English{WebText::NoticeOpen, "Open"},
    English{WebText::NoticeOpenFolder, "Open Folder"},
    English{WebText::SpeedLimit, "Speed limit of all downloads (KiB/s, empty : none) :"},
    English{WebText::SpeedLimitTimed, "Only from"},
    English{WebText::SpeedLimitTo, "to"},
    English{WebText::SpeedLimitClock, "o'clock"},
    English{WebText::BadSpeedLimit, "A speed limit is a whole number of KiB/s from 1 to 10000000, or empty for none."},
    English{WebText::SpeedLimitEntry, "Speed limit..."},
    English{WebText::SpeedLimitQuestion, "Speed limit of this download (KiB/s, empty : none) :"},
    English{WebText::LimitSpeed, "&Limit speed"},
    English{WebText::BadSpeedLimitHours, "The hours of the speed limit are whole numbers from 0 to 23."},
    English{WebText::SpeedLimitTitle, "Speed limit"},
    English{WebText::LookInside, "Look &Inside..."},
    English{WebText::ReadingEnd, "Reading the end of the archive..."},
    English{WebText::ReadingDirectory, "Reading its list of files, %1 bytes..."},
    English{WebText::NoArchive, "This is no ZIP archive, or its list of files is damaged."},
    English{WebText::SplitArchive, "This archive is one of several volumes, which cannot be read one by one."},
    English{WebText::ArchiveTooLarge, "The archive's list of files is too large to be read."},
    English{WebText::ChangedMeanwhile, "The archive has changed on the server while its list of files was read."},
    English{WebText::ChosenFiles, "Selected files : %1, to fetch : %2, unpacked : %3"},
    English{WebText::FilterField, "Filter :"},
    English{WebText::EntryEncrypted, "encrypted"},
    English{WebText::EntryEncryptedOther, "encrypted in a way that Pellora does not support"},
    English{WebText::EntryPackedOther, "packed in a way that Pellora does not support"},
    English{WebText::EntryNoFile, "a link or a device"},
    English{WebText::EntryUnsafeName, "its name leads out of the folder"},
    English{WebText::EntryOverlaps, "its data lies outside of its place in the archive"},
    English{WebText::CannotUnpack, "%1 cannot be unpacked: %2."},
    English{WebText::AskUnpackOthers, "%1 of the %2 chosen files cannot be unpacked. Unpack the others?"},
    English{WebText::NothingChosen, "Select the files that are to be unpacked first."},
    English{WebText::ExistingFiles, "The folder already has files with some of these names :"},
    English{WebText::NumberNew, "Keep them, and number the new ones"},
    English{WebText::ReplaceExisting, "Replace them"},
    English{WebText::KeepExisting, "Keep them, and leave these out"},
    English{WebText::PasswordOfArchive, "Password of the archive :"},
    English{WebText::RemarkColumn, "Remark"},
    English{WebText::FilesToUnpack, "%1 files to be extracted"},
    English{WebText::FileToUnpack, "1 file to be extracted"},
    English{WebText::FilesOf, "%1 files of %2"},
    English{WebText::Unpacking, "Unpacking %1: %2 %"},
    English{WebText::EntryDamaged, "%1 is damaged in the archive."},
    English{WebText::EntriesDamaged, "%2 files are damaged in the archive, among them %1."},
    English{WebText::OthersUnpacked, "All other files have been unpacked."},
    English{WebText::EntryNameless, "%1 cannot be created in the folder (%2)."},
    English{WebText::EntriesNameless, "%2 files cannot be created in the folder, among them %1 (%3)."},
    English{WebText::EntryUndecrypted, "%1 cannot be decrypted: the password is wrong, or the file is damaged."},
    English{WebText::EntriesUndecrypted,
            "%2 files cannot be decrypted, among them %1: the password is wrong, or they are damaged."},
    English{WebText::ArchiveChanged,
            "The archive on the server has changed. Delete this download and choose the files again."},
    English{WebText::SelectionLost,
            "It is not known any more which files were chosen. Delete this download and choose them again."},
    English{WebText::ArchivePassword, "The password of the archive is missing or wrong, or files in it are damaged."},
    English{WebText::EnterPassword, "Password..."},
    English{WebText::NoUnpacker, "The files cannot be unpacked: %1"},
    English{WebText::EntryBadName, "its name is too long or has control characters"},
    English{WebText::NoneUnpacked, "None of the chosen files can be unpacked."},
    English{WebText::ListNotSaved,
            "The list of downloads cannot be saved: what changes in it now is lost when Pellora ends."},
    English{WebText::UpdatedByPackages, "Pellora was installed as a package: the package manager updates it."},
};

}  // namespace

void FillWebTexts(LangStringArray& texts) {
  for (const English& entry : kEnglish) texts.at(static_cast<std::size_t>(entry.number)) = entry.text;
}

const std::string& TextOf(const Program& program, WebText text) { return program.Text(static_cast<int>(text)); }

std::string FillText(std::string_view text, std::initializer_list<std::string_view> values) {
  std::string filled;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool place = text[at] == '%' && at + 1 < text.size() && (text[at + 1] >= '1' && text[at + 1] <= '3');
    if (!place) {
      filled += text[at];
      continue;
    }
    const auto number = static_cast<std::size_t>(text[++at] - '1');
    if (number < values.size()) filled += *(values.begin() + number);
  }
  return filled;
}

}  // namespace pellora
