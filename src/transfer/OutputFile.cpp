// The end of a download: the part files become the output file.
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "async/TaskLoop.h"
#include "core/FileNames.h"
#include "core/ListFile.h"
#include "core/PartFiles.h"
#include "core/RecordLife.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "transfer/ClassicEngine.h"
#include "transfer/JoinParts.h"
#include "transfer/TextNumbers.h"

namespace pellora {

// The engine may be gone before the answer.
Task<> ClassicEngine::SayFailure(Program* program, std::string name, std::string reason) {
  BoxRequest request{name + ": " + reason, kProgramName, kCritical};
  const std::uint64_t stop = program->AddBoxedStop({std::move(name), std::move(reason)});
  (void)co_await program->boxes.Ask(program, std::move(request));
  program->boxedStops.erase(stop);
}

bool ClassicEngine::JoinIsCurrent(std::uint32_t run) { return run == joinRun_ && StillCurrent(); }

void ClassicEngine::PrepareOutput() {
  DownloadRecord& record = Record();
  if (!record.HasSavePath) record.SavePath = JoinFolder(program_.settings.DownloadFolder, record.FileName);
  // Nobody else makes an update's folder anew where it could not be made at the add.
  if (IsUpdate(record)) Skip([&] { program_.platform.files.CreateFolder(FolderOf(record.SavePath)); });
}

Task<bool> ClassicEngine::BuildOutputFile(std::uint32_t run) {
  const auto hold = Hold();
  // A record that a server error dropped builds nothing: there may be a file of the user's at its place.
  if (!Record().InUse) {
    Record().Active = false;
    Retire();
    co_return false;
  }
  std::function<bool()> turnComes = [this, run] { return run != joinRun_ || program_.joinTurn.expired(); };
  co_await Tasks().UntilEvent(std::move(turnComes));
  if (!JoinIsCurrent(run)) co_return false;
  const auto turn = std::make_shared<int>(0);
  program_.joinTurn = turn;
  PrepareOutput();
  SharedJoinFiles open = std::make_shared<JoinFiles>();
  std::function<bool()> current = [this, run] { return JoinIsCurrent(run); };
  std::optional<std::string> reason;
  try {
    JoinPlan plan = PlanJoin(Record());
    co_await JoinParts(&program_.platform, open, std::move(plan), std::move(current));
  } catch (const Failure& failure) {
    reason = failure.what();
  }
  bool built = JoinIsCurrent(run);
  if (built && reason) BuildFailed(*reason);
  built = built && !reason && OutputBuilt();
  ReleaseJoinFiles(program_.platform, std::move(open));
  co_return built;
}

// The parts are deleted only when the list on disk says that they are not needed any more; else a kill between
// their deletion and the next save would fetch the tail again and overwrite a good file with zeros.
bool ClassicEngine::OutputBuilt() {
  DownloadRecord& record = Record();
  building_ = false;
  joinState_.clear();
  if (view_ != nullptr) view_->SetFinished();
  record.Finished = true;
  record.Active = false;
  record.Percent = 100.0F;
  const bool saved = SaveListBeforeTouchingParts(program_);
  for (int i = 1; saved && i <= record.SegmentCount; ++i) {
    DeletePart(program_.platform.files, record.Segment(i).TempFile);
  }
  DoRefresh();
  program_.lists->RefreshRows(kAllRows, kForced);
  program_.lists->RefreshDownList();
  if (IsUpdate(record) && program_.handOverUpdate) {
    program_.handOverUpdate(Index());
    return false;
  }
  program_.lists->RefreshRows(kAllRows, kUnforced);
  if (view_ != nullptr) view_->OfferFile();
  return true;
}

void ClassicEngine::BuildFailed(const std::string& reason) {
  DownloadRecord& record = Record();
  record.Active = false;
  record.Paused = true;
  program_.classicStops[program_.Serial(Index())] = reason;
  StopJoin(reason);
  program_.lists->RefreshRows(kAllRows, kForced);
  Tasks().Spawn(SayFailure(&program_, record.FileName, reason));
}

// The parts stay, and a resume joins them again.
void ClassicEngine::StopJoin(const std::string& reason) {
  ++joinRun_;
  building_ = false;
  ShowCommand3(Command3Means::Resume);
  EnableCommand3(true);
  ShowJoinState(reason.empty() ? Text(kTextPaused) : Text(kTextPaused) + ": " + reason);
}

void ClassicEngine::ShowJoinState(const std::string& text) {
  joinState_ = text;
  DoRefresh();
}

}  // namespace pellora
