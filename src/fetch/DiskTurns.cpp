#include "fetch/DiskTurns.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <utility>
#include <vector>

#include "core/FileNames.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

using Steps = std::vector<std::shared_ptr<DiskStep>>;

template <class Call>
void Try(DiskStep& step, const Call& call) {
  try {
    call();
  } catch (const Failure&) {
    if (!step.failure) step.failure = std::current_exception();
  }
}

// Its index; added if it is not there.
template <class Value>
std::size_t IndexIn(std::vector<Value>& all, const Value& value) {
  const auto at = std::find(all.begin(), all.end(), value);
  if (at != all.end()) return static_cast<std::size_t>(at - all.begin());
  all.push_back(value);
  return all.size() - 1;
}

// Steps may have a file or a folder in common.
void Flush(DownloadFiles& files, const Steps& steps) {
  std::vector<DownloadFile*> open;
  std::vector<std::string> folders;
  for (const auto& step : steps) {
    if (step->failure) continue;
    if (step->file) IndexIn(open, step->file.get());
    if (!step->folder.empty()) IndexIn(folders, step->folder);
  }
  const std::size_t ofFiles = open.size();
  const std::vector<std::exception_ptr> failures = files.FlushTogether(open, folders);
  for (const auto& step : steps) {
    if (step->failure) continue;
    if (step->file) step->failure = failures[IndexIn(open, step->file.get())];
    if (!step->folder.empty() && !step->failure) step->failure = failures[ofFiles + IndexIn(folders, step->folder)];
  }
}

void DoAll(DownloadFiles& files, const Steps& steps) {
  for (const auto& step : steps) Try(*step, [&] { step->Begin(files); });
  Flush(files, steps);
  for (const auto& step : steps) Try(*step, [&] { step->End(files); });
}

}  // namespace

// The loop adds steps, and works take them, at the same time: all that both use is atomic.
struct DiskTurns::Given {
  enum class Fate : std::uint8_t { Waits, Begun, Withdrawn };
  struct Waiting {
    std::shared_ptr<DiskStep> step;
    Place place = Place::OrBefore;
    std::atomic<Fate> fate = Fate::Waits;
    bool Becomes(Fate next) {
      Fate expected = Fate::Waits;
      return fate.compare_exchange_strong(expected, next);
    }
  };
  struct Link {
    std::shared_ptr<Waiting> waiting;
    Link* next = nullptr;
  };

  explicit Given(DownloadFiles* theFiles) : files(theFiles) {}
  ~Given() { (void)TakeAdded(); }
  Given(const Given&) = delete;
  Given& operator=(const Given&) = delete;

  void Add(std::shared_ptr<Waiting> waiting) {
    auto link = std::make_unique<Link>(Link{std::move(waiting), added.load()});
    while (!added.compare_exchange_weak(link->next, link.get())) {
    }
    (void)link.release();
  }
  // The last one first.
  std::vector<std::shared_ptr<Waiting>> TakeAdded() {
    std::vector<std::shared_ptr<Waiting>> taken;
    for (std::unique_ptr<Link> link(added.exchange(nullptr)); link; link.reset(link->next)) {
      taken.push_back(std::move(link->waiting));
    }
    return taken;
  }
  // All that may be done when it is this step's turn. What was added since an earlier turn did it waits for its own:
  // the longer, the more are done at once.
  Steps TakeFor(const std::shared_ptr<Waiting>& own) {
    if (own->fate != Fate::Waits) return {};
    const std::vector<std::shared_ptr<Waiting>> latest = TakeAdded();
    queue.insert(queue.end(), latest.rbegin(), latest.rend());
    // The works of those that are left before it could not be started, which their callers will hear.
    for (; queue.front() != own; queue.pop_front()) (void)queue.front()->Becomes(Fate::Withdrawn);
    Steps taken;
    do {
      if (queue.front()->Becomes(Fate::Begun)) taken.push_back(queue.front()->step);
      queue.pop_front();
    } while (!queue.empty() && queue.front()->place != Place::Kept);
    return taken;
  }

  DownloadFiles* const files;
  std::atomic<Link*> added = nullptr;          // the newest one, which leads to the others
  std::deque<std::shared_ptr<Waiting>> queue;  // of works alone
};

DiskTurns::DiskTurns(const Platform& platform)
    : background_(platform.background), given_(std::make_shared<Given>(platform.downloadFiles)) {}

void DiskTurns::Give(std::shared_ptr<DiskStep> step, Background::Done done, Place place) {
  const auto own = std::make_shared<Given::Waiting>();
  own->step = std::move(step);
  own->place = place;
  given_->Add(own);
  Background::Done over = [own, done = std::move(done)](const std::exception_ptr& failure) {
    (void)own->Becomes(Given::Fate::Withdrawn);
    const bool begun = own->fate == Given::Fate::Begun;
    done(begun ? own->step->failure : failure);
  };
  background_.Run(
      [given = given_, own] {
        const Steps steps = given->TakeFor(own);
        if (!steps.empty()) DoAll(*given->files, steps);
      },
      std::move(over));
}

FlushStep::FlushStep(std::shared_ptr<DownloadFile> opened, std::string path, const FileIdentity& identity,
                     std::uint64_t length, bool exactly)
    : path_(std::move(path)), identity_(identity), length_(length), exactly_(exactly) {
  file = std::move(opened);
}

void FlushStep::Begin(DownloadFiles&) {
  if (exactly_ && file->State().length > length_) file->SetLength(length_);
}

void FlushStep::End(DownloadFiles& files) {
  if (failure) return;
  const std::optional<FileState> found = files.StateOf(path_);
  isThere_ = found && found->identity == identity_ && found->length >= length_;
}

NameStep::NameStep(std::string part, std::string path, std::optional<FileState> replaced)
    : part_(std::move(part)), path_(std::move(path)), replaced_(std::move(replaced)) {}

void NameStep::Begin(DownloadFiles& files) {
  hasName_ = replaced_ ? files.PublishOver(part_, path_, *replaced_) : files.Publish(part_, path_);
  if (hasName_) folder = FolderOf(path_);
}

void NameStep::End(DownloadFiles&) { hasName_ = hasName_ && !failure; }

}  // namespace pellora
