// WebEngine: fetches over https, http, ftps, ftp and sftp, and lets no byte into the file that is not proven to be the
// file's.
//
// The first request is the first range from byte 0; its answer gives size, name and validator, and further lanes open
// at once. RangePlan divides the file, CheckReply judges each answer, Sources says which server is asked, PartFile
// writes, and the journal says what is on the disk. WebEngine.cpp starts and ends its runs, WebReplies.cpp what answers
// and ends mean, WebMirrors.cpp what several sources do, WebLogins.cpp who gets a login, WebFile.cpp the part file,
// WebFinish.cpp its name once it is complete, WebSelection.cpp what is chosen of an archive, WebArchiveChange.cpp
// another version of that, WebChecks.cpp its checksums, WebAddressChange.cpp another address for it, WebDrawing.cpp
// what is shown.
//
// Every wait carries the number of the run, which a pause, a stop and a start raise: what belongs to an earlier run
// changes nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "async/Timer.h"
#include "core/Engine.h"
#include "core/Program.h"
#include "core/WebAddress.h"
#include "core/WebTexts.h"
#include "fetch/Extraction.h"
#include "fetch/ListSeek.h"
#include "fetch/PartFile.h"
#include "fetch/RangePlan.h"
#include "fetch/Sources.h"
#include "fetch/WebLane.h"
#include "fetch/WebRequests.h"
#include "fetch/WebServices.h"

namespace pellora {

class ArchiveInquiry;
class EntryUnpacking;
class OutputFolder;
class UnpackedFiles;
struct ArchiveReading;
struct NewPart;
struct SelectionUpdate;
struct WantedPart;
enum class EntryEnd : std::uint8_t;

class WebEngine final : public Engine, public std::enable_shared_from_this<WebEngine>, private WebLaneOwner {
 public:
  WebEngine(Program& program, std::shared_ptr<WebServices> services);
  ~WebEngine() override;

  // Engine
  void Begin(const Slot& slot, EngineView& view) override;
  void DropView() override { view_ = nullptr; }
  Task<> InitConnection() override;
  Task<> ConnectSegmented() override { return InitConnection(); }
  Task<> ConnectFromViewer() override { return InitConnection(); }
  Task<> ResumeDownload() override;
  void PauseDownload() override;
  void Retire() override;
  bool Current() const override { return !retired_ && slot_.Held(); }
  bool StillCurrent() override;
  std::uint32_t SilentFor() const override;
  void SaveProgress() override { Claim(); }
  bool IsProgressSaved() const override { return !claiming_ && services_->journal.IsWritten(); }
  int LaneCount() const override;
  Lane LaneAt(int lane, LaneForm form) const override;
  Totals Figures() override;
  FileMap Map() const override;

 private:
  using Run = std::uint32_t;

  // Life
  std::shared_ptr<WebEngine> Hold() { return shared_from_this(); }
  DownloadRecord& Record() { return slot_.Record(); }
  std::int64_t Now() const { return services_->Now(); }
  void Take(FetchEvent event) { state_ = StateAfter(state_, event); }
  bool Fetching() const;                               // Opening, Running or Holding
  enum class Sense : std::uint8_t { AsWished, Anew };  // Anew: what it learned of its sources and failures still counts
  void Start(Sense sense = Sense::AsWished);
  void StartOrQueue(Sense sense = Sense::AsWished);  // as there is a place or not
  void WaitForPlace();                               // in the queue, which resumes it
  void ContinueOrQueue();                            // after a wait
  bool HasPlace() const;
  void StopWithoutJournal();
  void EndRun();                   // closes all lanes
  const HandOver& Handed() const;  // by the browser; empty after a restart
  void TakeHandedOver();
  bool CookiesAreGone() const;
  bool PageIsGone() const;
  bool MissesPage(const WebLane& lane) const;  // the server may refuse it therefore
  std::string PageGone(int status) const;
  // Ends the run and takes the record out of work: paused, without a reason; else stopped, or asking.
  void Rest(FetchEvent event, const std::string& given);  // the reason, or empty
  void Pulse();
  void CheckLanes(std::int64_t now);
  void RelieveSlowLane();
  void FitLanesToSpeed();
  void EndIdleRound();
  void Announce(std::string state);  // in the window and the figures
  void AnnounceRetry(std::int64_t wait);
  void Draw();
  void WriteFigures();
  std::string Say(WebText text, std::initializer_list<std::string_view> values = {}) const;
  std::string RetryIn(std::int64_t milliseconds) const;
  void ShowCommand3(Command3Means means);
  WebFigures& TheFigures() { return program_.AddWeb(slot_.Index()); }

  // Another address, given by the user (WebAddressChange.cpp)
  const AddressReading* NewAddress() const;  // that is to be tried; null if there is none
  void UseNewAddress(const AddressReading& address);
  void UseListedLogin();
  bool SharesSecretsOfListed();  // what belongs to the record's address may go to the one that is used
  bool NewAddressIsProven() const;
  void TakeNewAddress();  // if it is proven
  void NewAddressJournaled(const JournalKey& key, bool written);
  void MoveTo(const JournalKey& key);
  std::string KeepFormerAddress(const std::string& reason);  // returns what to say

  // Requests
  void Open();                    // the first request of a run, or after a wait
  void OpenFromGiven();           // the same; redirects are followed anew
  void OpenLanes();               // pieces for all lanes that have none
  void OpenWhole(WebLane& lane);  // without Range, comparing what is held
  void BeginPiece(WebLane& lane, AskedFor asked, int source);
  void BeginRequest(WebLane& lane, AskedFor asked);  // at the lane's address
  void AskForSample(WebLane& lane);
  FetchRequest MakeRequest(const WebLane& lane, const AskedFor& asked) const;
  FetchRequest MakeSmallRequest(const WebAddress& address) const;  // for a document beside the file
  void AskAgain(WebLane& lane, AskedFor asked);
  WebLane& LaneOf(int number);
  int MostLanes() const;  // that are wanted
  bool AnyIsOpen() const;
  int OpenCount() const;
  bool OthersFlow(const WebLane& lane) const;  // from its source
  bool OthersAreOpen(const WebLane& lane) const;
  bool OthersOfSource(const WebLane& lane) const;  // are open
  RangePlan NewPlan() const;

  // Replies (WebLaneOwner)
  void LaneAnswered(WebLane& lane, const FetchAnswer& answer) override;
  void LaneReceived(WebLane& lane, std::unique_ptr<FetchBlock> block) override;
  void LaneEnded(WebLane& lane, FetchEnd end, const std::string& reason) override;
  std::string ReasonFor(const ReplyReading& reading, const FetchAnswer& answer) const;
  std::string ReasonFor(const WebLane& lane, FetchEnd end, const std::string& detail) const;
  std::string Moment(std::int64_t wait) const;  // date and time, so many ms from now
  ReplyReading Read(const WebLane& lane, const FetchAnswer& answer) const;
  void TakeBody(WebLane& lane, const FetchAnswer& answer, const ReplyReading& reading);
  void TakeFirstBody(WebLane& lane, const FetchAnswer& answer, const ReplyReading& reading);
  bool IsExpected(const FetchAnswer& answer, std::int64_t total) const;
  bool ShowsInside(const WebLane& lane, const FetchAnswer& answer);
  void TakeSample(WebLane& lane, const ReplyReading& reading);
  Range LongestHeld() const;
  bool MayChangeUnseen() const;  // while no lane is open
  void Redirect(WebLane& lane, const ReplyReading& reading);
  void HasChanged(const std::string& atNewAddress = {});
  void AskByHttp2(WebLane& lane, const AskedFor& asked);
  void EndedUnanswered(WebLane& lane, FetchEnd end, const std::string& reason);
  void EndedFlow(WebLane& lane, FetchEnd end, const std::string& reason);
  RoundCause CauseOf(FetchEnd end) const;
  void Ask(const std::string& reason, const std::string& question, std::string yes, std::string no,
           std::function<void(bool)> answer);
  void RestAsking(const std::string& reason, const std::string& question);
  void ShowQuestion(std::string yes, std::string no, std::function<void(bool)> answer);
  void AskAboutKey(const WebLane& lane, const HostKey& key);
  void BeginAnew();
  void BeginAnewUnasked();  // its rounds count on, and it keeps its place
  void LeavePart();         // for another one
  void LaneLost(WebLane& lane, const std::string& reason, RoundCause cause, std::int64_t retryAfterSeconds = 0);
  void RoundEnded(RoundCause cause, std::int64_t wait);
  void Refused(WebLane& lane, const std::string& reason);
  void GiveUp(WebLane& lane, const std::string& reason);
  void IsOther(WebLane& lane, const std::string& fault);
  // While others are open: no further lanes in this run, from its source if others of that are open, which else is left
  // out because of `fault`.
  void GoOnWithout(WebLane& lane, const std::string& fault);
  bool AskGivenOnceMore(WebLane& lane);
  void TakesNoMore(WebLane& lane);  // the server takes fewer connections than are open with this one
  void WaitAsAsked(WebLane& lane, const FetchAnswer& answer, const ReplyReading& reading);
  void Release(WebLane& lane);

  // Mirrors
  void BeginSources();
  Source& SourceOf(const WebLane& lane) { return sources_.At(lane.source); }
  const Source& SourceOf(const WebLane& lane) const { return sources_.At(lane.source); }
  FileFacts KnownOf(const WebLane& lane) const;  // what its answers are compared with
  bool Computes(ChecksumKind kind) const;        // the system does
  bool HasHashes() const;                        // that prove the file in the end
  bool MayUse(const Source& source) const;
  std::optional<int> SourceForLane() const;
  std::vector<int> OpenLanesOfSources() const;
  std::vector<int> RoomOfSources(const std::vector<int>& open) const;
  ReplyReading ReadOfMirror(const WebLane& lane, ReplyReading reading) const;
  void Proven(const WebLane& lane, const FileFacts& facts);
  void TakeLinks(const WebLane& lane, const FetchAnswer& answer);
  void AddMirrors(const std::vector<Mirror>& mirrors);
  void SeekDescription(const WebLane& lane, const FetchAnswer& answer);
  void TakeDescription(const std::string& document);
  void SpreadLanes();
  // The source has failed or lies: others continue. False, and nothing is done, if there are none.
  bool LeaveOut(int source, const std::string& fault, bool forGood = false);
  bool RestSource(int source, const std::string& fault);  // the same, until others fail
  bool MoveToOther();                                     // the main source has failed; False if all have
  void GoOnWithoutSource(int source);
  void ForgetMain();  // what only it could not do
  void HoldFor(std::int64_t wait, RoundCause cause);
  bool MainHasFailed(RoundCause cause) const;
  // What is wrong, or came from mirrors where it is not known what is, is fetched from other sources, without asking.
  // False if there are none.
  bool FetchElsewhere(const std::vector<Range>& wrong);
  std::string Notes() const;
  Task<bool> TakeMetalink(Run run);
  MetalinkFiles AsMetalink(std::vector<MetalinkFile> files) const;

  // Logins
  struct LoginDemand {
    LoginWish wish;
    Login refused;  // or empty
    std::string reason;
    bool unencrypted = false;
    bool ofOwnAddress = false;  // not by a mirror or a proxy
    std::string inRow{};        // in place of the reason
  };
  void LoginDemanded(WebLane& lane, const FetchAnswer& answer);
  void LoginRefused(WebLane& lane);  // by a server of ftp or sftp
  void ServerDemands(WebLane& lane, bool refused, bool unencrypted);
  void ProxyDemands(WebLane& lane);
  bool IsWorthAsking(const WebLane& lane) const;
  void LoginMissing(LoginDemand demand);
  Task<> SeekLogin(Run run, LoginDemand demand);
  void AskForLogin(const LoginDemand& demand);
  void LoginDenied(const LoginDemand& demand);
  void ShowLoginQuestion(const LoginDemand& demand);
  void OpenLoginWindow(const LoginDemand& demand);
  void TakeRefusal(const LoginPlace& place, const Login& login);
  void LoginsAccepted(const WebLane& lane);

  // The part file
  void ChooseName(const WebLane& lane, const FetchAnswer& answer);
  void ForgetPath();
  void ForgetReplacing();
  Task<> CreatePart();
  std::string NoRoomFor(const NewPart& part) const;
  Task<> AdoptPart(Run run);
  std::shared_ptr<PartFile> NewPartFile(const std::string& path, std::shared_ptr<DownloadFile> file,
                                        const FileIdentity& identity);
  void AskAboutPart();
  void PartIsReady();
  void PutBlock(WebLane& lane, std::unique_ptr<FetchBlock> block);
  void PutDone(std::uint32_t generation, const std::vector<Range>& written, PartFile::Result result,
               const std::string& reason);
  void ComparedOther();
  bool Compares() const;    // and has not yet reached the end of what is held
  void ForgetUncompared();  // what an unfinished comparison has let in
  void ClosePartAtRest();
  void PutSample(WebLane& lane, std::unique_ptr<FetchBlock> block);
  void SampleCompared(int number, bool last, PartFile::Result result, const std::string& reason);
  void AfterArrival(WebLane& lane, bool surplus);
  void AllHeld();
  void DiskFailed(const std::string& reason);
  void PartReplaced();
  void LosePart(const std::string& reason);  // what was not claimed is fetched again
  void Claim();                              // flushes, then writes the journal
  void WriteJournal(JournalState state, Journal::Done done = {});
  JournalState JournalStateNow() const;
  void DropPart();
  Task<bool> BeginFinish(Run run);
  Task<> Finish(Run run);
  void YieldPlace();
  Task<bool> FlushWhole(Run run);
  Task<bool> PublishAs(Run run, std::string path);
  Task<bool> GiveName(std::string path, std::optional<FileState> replaced);
  void Finished();

  // What is chosen of an archive (WebSelection.cpp)
  bool IsSelection() const { return !entry_.selection.empty(); }
  Task<> OpenSelection(Run run, bool asWished);
  Task<bool> LoadSelection(Run run);
  Task<bool> FindCopies(Run run);
  Task<bool> HasCopy(SelectedEntry entry);
  void OpenSelectionsPart();
  void TakeRoomOfSelection(WantedPart& wanted) const;
  void UseFactsOfSelection();
  static ReplyReading ReadOfSelection(ReplyReading reading);
  bool TakesNoParts(WebLane& lane, const ReplyReading& reading);  // True: that was all
  void WriteFiguresOfSelection(WebFigures& figures) const;
  void EntriesArrived(const std::vector<Range>& written);
  void UnpackSoon();
  // Entries whose files are complete but have no names. Flushing files together takes little longer than flushing one.
  struct CompleteEntries {
    struct Entry {
      std::size_t number = 0;
      std::shared_ptr<EntryUnpacking> work;
      EntryEnd end{};
    };
    std::vector<Entry> entries;
    std::int64_t bytes = 0;
    std::int64_t since = 0;  // ms, of the first one
    bool isFull = false;
  };
  Task<> UnpackEntries(Run run);
  Task<> UnpackEntry(Run run, std::size_t number, std::shared_ptr<CompleteEntries> complete);
  Task<> GiveNames(Run run, std::shared_ptr<CompleteEntries> complete);
  void Discard(std::shared_ptr<void> works);
  void MarkBegun(std::size_t number);
  void ShowUnpacking(const SelectedEntry& entry, std::int64_t plain);
  void EntryFailed(std::size_t number, EntryEnd end, const EntryUnpacking& work);
  void EntriesAreUnpacked(Run run, const std::vector<std::size_t>& numbers);
  Task<> FinishSelection(Run run);
  Task<bool> MakeFolders(Run run);
  bool FetchEntriesAgain();
  void StopForFaults();
  std::string SentenceOnDamaged() const;
  std::string SentenceOnUndecrypted() const;
  std::string SentenceOnNameless() const;
  LoginPlace PlaceOfPassword() const;
  void AskForArchivePassword();
  Task<> SelectionIsUnpacked(Run run);

  // Another version of the archive (WebArchiveChange.cpp)
  void ArchiveHasChanged();
  Task<bool> SeekInNewVersion(Run run);
  Task<bool> ReadDirectory(Run run, std::shared_ptr<ArchiveReading> reading);
  void AskAboutLost();
  Task<bool> TakeUpdate(Run run);
  void SwitchTo(const std::shared_ptr<const Selection>& selection, const std::string& file);

  // Checksums
  using Digits = std::vector<std::string>;
  Task<bool> CheckFile(Run run);
  Task<bool> CheckSums(Run run, std::vector<Checksum> wanted);
  Task<bool> CheckPieces(Run run);
  Task<Digits> HashRanges(Run run, std::vector<Range> ranges, std::vector<ChecksumKind> kinds);
  Task<std::optional<std::vector<Range>>> WrongPieces(Run run);
  Task<> SeekList(Run run);
  std::vector<std::string> NamesOfAddress() const;  // where it led to, and as it was given
  bool SeeksList() const;
  bool HasPieces() const;
  std::vector<Checksum> WantedChecksums() const;
  bool Judge(const Checksum& wanted, const std::string& digits);
  void ShowCheck(std::string state);
  void AskAboutWrong(const std::string& reason, const std::vector<Range>& wrong);
  void FetchAgain(const std::vector<Range>& wrong);
  void ForgetRanges(const std::vector<Range>& wrong);

  Program& program_;
  const std::shared_ptr<WebServices> services_;
  WebRequests requests_;
  Slot slot_;
  std::shared_ptr<SpeedShare> speed_;
  int speedLanes_ = 0;  // that the limit of speed allowed at the last pulse
  EngineView* view_ = nullptr;
  Timer pulse_;
  bool retired_ = false;
  FetchState state_ = FetchState::Paused;
  Run run_ = 0;

  WebAddress given_;  // with the login
  Sources sources_;
  bool http2_ = false;

  std::vector<std::unique_ptr<WebLane>> lanes_;
  std::optional<RangePlan> plan_;
  FileFacts facts_;
  bool factsKnown_ = false;
  std::int64_t statedTotal_ = -1;  // by an answer whose body contradicted it
  bool oneLane_ = false;
  // The disk fills gaps with zeros at once, which takes as long as a download: one lane writes from the start to the
  // end.
  bool inOrder_ = false;
  bool unranged_ = false;  // ask without Range
  bool unconditional_ = false;
  BackOff backOff_;
  Rounds rounds_;
  std::int64_t holdUntil_ = 0;
  RoundCause holdCause_ = RoundCause::Failure;
  std::string lastReason_;
  bool asksForLogin_ = false;
  bool seeksLogin_ = false;  // in the desktop's store, and no lane is open

  std::shared_ptr<PartFile> part_;
  bool movingKey_ = false;                                          // the journal is to have the new address
  bool creating_ = false;                                           // it, and then its room
  std::vector<std::pair<int, std::unique_ptr<FetchBlock>>> early_;  // came before the part file was there
  struct EarlyEnd {
    int lane = 0;
    FetchEnd end = FetchEnd::Other;
    std::string reason;
  };
  std::optional<EarlyEnd> earlyEnd_;  // after those blocks
  JournalEntry entry_;
  IntervalSet written_;  // what is in the part file; not yet for sure on the disk
  // Raised when what was put is not to be counted any more: completions of earlier generations count for nothing.
  std::uint32_t partGeneration_ = 0;
  IntervalSet heldBefore_;       // when the comparing lane began
  std::int64_t comparedTo_ = 0;  // byte of the file
  bool renaming_ = false;        // the journal says so: it ends before anything else
  bool renameIsJournaled_ = false;
  bool unconfirmed_ = false;     // the body ended with its connection
  bool isMetalink_ = false;      // by its type
  bool wasShownInside_ = false;  // the user has been asked what of the archive is wanted
  bool differs_ = false;         // a comparison has failed in this generation
  int puts_ = 0;                 // that are under way
  bool claiming_ = false;
  bool unclaimed_ = false;  // something was written since the last claim
  std::int64_t lastClaim_ = 0;
  std::int64_t lastPulse_ = 0;
  std::int64_t lastDraw_ = 0;
  std::int64_t lastByte_ = 0;
  SpeedMeter meter_;
  double elapsed_ = 0;  // seconds of fetching
  std::string announced_;
  std::string check_;                       // state of a check under way
  std::string checked_;                     // which checksum was right
  std::unique_ptr<Extraction> extraction_;  // null: the whole file, or not read yet
  std::shared_ptr<OutputFolder> outputs_;   // of the extraction
  std::shared_ptr<UnpackedFiles> outputFiles_;
  bool unpacking_ = false;
  std::int64_t lastUnpacked_ = 0;
  bool readsAgain_ = false;  // the archive's directory, before anything else of this run
  int readings_ = 0;         // of directories, since the user has started it
  std::unique_ptr<ArchiveInquiry> inquiry_;
  std::shared_ptr<const SelectionUpdate> update_;  // is to be taken; nothing is unpacked before
  std::unique_ptr<ListSeek> seek_;
  std::unique_ptr<SmallFetch> describing_;  // the Metalink of the file
  std::string note_;                        // what is to be known of the file, which is or will be complete
};

}  // namespace pellora
