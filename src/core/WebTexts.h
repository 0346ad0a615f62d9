// WebTexts: the numbered texts that came with the web engine, and their English.
//
// A language file of a user's own may lack them: English is filled in at the start and before each file is read.
// "%1", "%2" and "%3" in a text are places for values, in any order.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "core/Program.h"

namespace pellora {

enum class WebText : std::int16_t {
  None = 0,

  // Options.
  Transfers = 800,
  WhichDownloads = 801,
  OnlyNewSchemes = 802,
  AllDownloads = 803,
  EngineOff = 804,
  RedirectHint = 806,
  ExtraCertificates = 807,
  BadCertificates = 808,

  BadAddress = 809,  // in place of 400, for the web engine's addresses

  // States of a lane or of the whole download.
  Connecting = 810,
  Receiving = 811,
  RetryIn = 812,  // %1: seconds
  NoMoreConnections = 813,
  WaitingForNetwork = 814,

  // Why a download is not started, waits or has stopped, in one sentence.
  IsOff = 820,
  IsMissing = 821,  // the program was built without it
  Unsupported = 822,
  Changed = 823,
  LoginNeeded = 824,
  NotFound = 825,
  Refused = 826,     // %1: status
  NoHost = 827,      // %1: host
  NotTrusted = 828,  // %1: host, %2: why
  NoParts = 829,
  WrongAnswers = 830,
  NoRoom = 831,        // %1: bytes needed, %2: bytes free, both with their units
  PartReplaced = 832,  // or removed: the file of the unfinished download
  NotWritten = 833,    // %1: why
  LengthNotConfirmed = 834,
  NoNetwork = 835,
  AskedToWait = 836,   // %1: date and time
  TooManyTries = 837,  // %1: the reason of the last one
  FileExists = 838,
  ReplacedChanged = 839,
  UnknownKey = 840,  // %1: host, %2: fingerprint
  CookiesGone = 841,
  ProgressLost = 842,
  ConnectionLost = 843,  // %1: host
  NotReached = 844,      // %1: host, %2: why
  Silent = 845,          // %1: host
  TooLong = 846,         // %1: size with its unit
  NoProxy = 847,         // %1: why
  WrongCoding = 848,

  // Questions, after the reason.
  AskTrustKey = 849,
  AskBeginAnew = 850,
  // And the buttons that answer them.
  TrustKey = 860,
  RefuseKey = 861,
  BeginAnew = 862,
  KeepPart = 863,

  // More of the reasons.
  NoRoomBeside = 864,       // as NoRoom
  JournalUnreadable = 865,  // %1: its path

  AskBeginAnewWithoutPart = 866,

  PageGone = 890,  // %1: status

  // Mirrors.
  MirrorLeftOut = 907,  // %1: host, %2: why
  OtherSize = 908,
  OtherBytes = 909,
  MirrorUnsafe = 910,
  BadMetalink = 911,
  ChecksumLost = 912,
  WillBeOverwritten = 913,  // %1: the name
  // What was typed in the fold of the add dialog and is not used.
  NotForSeveral = 914,
  NotForSeveralServers = 915,
  // The add dialog's fold, and what is wrong with its fields.
  More = 917,
  SaveInFolder = 918,
  SaveAsName = 919,
  ChecksumField = 922,
  ReferringPage = 923,
  Cookies = 924,
  SpeedLimitField = 925,
  BeginAt = 926,
  OnlyWebEngine = 927,
  BadChecksum = 928,
  BadFolder = 929,    // %1: the folder
  BadFileName = 930,  // %1: the name
  BadBeginAt = 932,
  BadPage = 933,    // or cookies
  NameTaken = 934,  // %1: the name, %2: the one that it gets
  ListedTwice = 935,
  TooManyAddresses = 936,  // %1: how many were taken
  BeginsAt = 937,          // %1: date and time
  // The window for many addresses.
  AddListCaption = 938,
  DownloadChecked = 939,
  CheckAll = 940,
  CheckNone = 941,
  CheckedInAll = 942,  // %1: how many, %2: their size
  // Logins. The first two are buttons, the next four the window's captions.
  LogIn = 877,
  NotNow = 878,
  LoginTitle = 879,
  UserName = 880,
  Password = 881,
  Remember = 882,
  WrongLogin = 883,
  ProxyLoginNeeded = 884,  // %1: host
  WrongProxyLogin = 885,   // %1: host
  NotRemembered = 886,
  ClassicProxy = 887,
  SentUnencrypted = 888,
  Realm = 889,  // %1: what the server calls it
  // Checksums. %1 of the first ones: the kind, "SHA-256".
  Checking = 892,          // a state; %1: percent
  SeekingChecksums = 893,  // a state
  ChecksumRight = 894,
  ChecksumWrong = 895,        // %2: computed, %3: wanted
  ChecksumNotComputed = 896,  // by this system
  PiecesWrong = 897,          // %1: how many, %2: of how many
  NotRead = 898,              // the part file; %1: why
  AskFetchAgain = 899,
  FetchAgain = 900,      // its button
  AskFetchPieces = 901,  // %1: size with its unit
  FetchPieces = 902,     // its button
  SeekChecksums = 903,   // in the options
  // Room before the start.
  RoomFree = 904,  // %1: size with its unit
  NoRoomIn = 905,  // %1: folder, %2 and %3 as in NoRoom
  // Another address.
  ChangeAddress = 943,
  NewAddressOf = 944,     // %1: name of the file
  AddressIsListed = 945,  // why it is refused
  AddressKept = 946,      // %1: why
  OtherSizeThere = 947,   // %1: bytes there, %2: bytes here
  OtherBytesThere = 948,

  // Order of the queue.
  MoveFirst = 949,
  MoveUp = 950,
  MoveDown = 952,
  MoveLast = 953,
  NumberInQueue = 954,  // %1: number

  // Staying awake.
  StayAwake = 955,
  AwakeBecause = 956,  // as the desktop shows it

  // Downloads that browsers have begun.
  OtherThanBrowsers = 957,
  // Looking inside archives. The states of the reading, and its problems.
  LookInside = 993,  // in menus and on buttons
  ReadingEnd = 994,
  ReadingDirectory = 995,  // %1: bytes
  NoArchive = 996,
  SplitArchive = 997,
  ArchiveTooLarge = 998,
  ChangedMeanwhile = 999,
  // The window.
  ChosenFiles = 1000,  // %1: how many, %2: bytes to fetch, %3: unpacked; sizes with their units
  FilterField = 1001,
  // Why an entry cannot be unpacked; no sentences.
  EntryEncrypted = 1002,  // it can be, with a password
  EntryEncryptedOther = 1003,
  EntryPackedOther = 1004,
  EntryNoFile = 1005,
  EntryUnsafeName = 1006,
  EntryOverlaps = 1007,
  CannotUnpack = 1008,     // %1: name, %2: one of those
  AskUnpackOthers = 1009,  // %1: how many cannot be, %2: of how many
  NothingChosen = 1010,
  // The questions before unpacking.
  ExistingFiles = 1011,
  NumberNew = 1012,
  ReplaceExisting = 1013,
  KeepExisting = 1014,
  PasswordOfArchive = 1015,
  RemarkColumn = 1016,
  FilesToUnpack = 1017,  // %1: how many
  FileToUnpack = 978,    // one
  // The archive has changed since its files were chosen.
  ChosenMissing = 1018,  // %1: how many
  AskLeaveOut = 1019,
  LeaveOut = 1020,       // a button
  StopUnpacking = 1021,  // a button

  // Notices of the desktop.
  ShowNotices = 851,  // in the options
  NoticeFinished = 852,
  NoticeStopped = 853,
  NoticeManyFinished = 854,  // %1: number
  NoticeManyStopped = 855,   // %1: number
  NoticeOpen = 856,          // a button
  NoticeOpenFolder = 857,    // a button
  // Chosen entries of an archive.
  FilesOf = 980,         // what the list calls it; %1: how many, %2: the archive
  Unpacking = 981,       // a state; %1: name, %2: percent
  EntryDamaged = 982,    // %1: name
  EntriesDamaged = 983,  // %1: name of one, %2: how many
  ArchiveChanged = 984,
  SelectionLost = 985,
  ArchivePassword = 986,  // is missing or wrong
  EnterPassword = 987,    // its button
  NoUnpacker = 988,       // %1: why
  OthersUnpacked = 991,
  EntryNameless = 992,       // %1: name, %2: why
  EntriesNameless = 975,     // %1: name of one, %2: how many, %3: why
  EntryUndecrypted = 976,    // %1: name
  EntriesUndecrypted = 977,  // %1: name of one, %2: how many
  EntryBadName = 989,        // these two in Remark, or said of all that is chosen
  NoneUnpacked = 990,
  // Limits of speed. Of the options:
  SpeedLimit = 867,
  SpeedLimitTimed = 868,
  SpeedLimitTo = 869,
  SpeedLimitClock = 870,
  BadSpeedLimit = 871,
  BadSpeedLimitHours = 875,
  // Of one download: in the popup, above its field, the window's title.
  SpeedLimitEntry = 872,
  SpeedLimitQuestion = 873,
  SpeedLimitTitle = 876,

  // Names of controls that show a picture or nothing, for assistive technology and as tool tips.
  ShowSidePane = 958,
  ChooseFolder = 959,
  SidePane = 960,
  PlayMedia = 961,
  StopMedia = 962,
  Volume = 963,
  DropBasket = 964,
  Ascending = 965,  // how a list is sorted
  Descending = 966,

  // An installed program, and the list.
  ListNotSaved = 973,
  UpdatedByPackages = 974,
  // In the main window.
  FilterRows = 815,  // in the popup of the lists' headings
  OwnColumns = 816,  // likewise
  NoAddressPasted = 817,
  // Windows of transfers: in the options,
  TransferWindows = 906,
  HideTransferWindows = 818,
  CloseFinishedWindows = 819,
  // their graph and its description, that of the map
  Graph = 858,
  GraphFigures = 859,    // %1: speed, %2: the highest
  MapFigures = 891,      // %1: how much of the file is held, %2: how many connections
  LimitNotStored = 916,  // %1: why
  LimitSpeed = 874,      // in the menu of the tray icon
};

// Writes the English texts, over whatever is there.
void FillWebTexts(LangStringArray& texts);

const std::string& TextOf(const Program& program, WebText text);

// `text` with the first value in place of each "%1", the second and third in place of each "%2" and "%3". What is
// inserted is not searched again. A place without a value becomes empty.
std::string FillText(std::string_view text, std::initializer_list<std::string_view> values);

}  // namespace pellora
