// Engine: what fetches one record. It has no window and knows no controls; a view shows what it does.
//
// Bytes count in 64 bits. An engine is held by its window, by its running tasks, and by the event gate where it
// continues without a window.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "async/Task.h"
#include "core/IntervalSet.h"
#include "core/Slot.h"

namespace pellora {

inline constexpr int kMaxLanes = 8;  // rows of the transfer window

// Of a row's bar; transferwin/Drawing.cpp has the colours.
enum class LaneColour { Unchanged, Receiving, Complete, Paused };

// Whether one row is drawn or all are; some texts differ.
enum class LaneForm { Row, Full };

// A segment of the file, as its row shows it.
struct Lane {
  const std::string* state = nullptr;  // valid until the engine's next event; null: the row keeps its text
  std::int64_t received = 0;           // bytes of it
  std::int64_t size = 0;               // bytes; 0: the bar keeps its width
  LaneColour colour = LaneColour::Unchanged;
  bool watched = true;  // False: a full drawing passes it over
};

// Which bytes of the file are there, and which are on their way.
struct FileMap {
  std::int64_t size = -1;      // below 1: there is no map
  std::vector<Range> held;     // apart and ascending
  std::vector<Range> awaited;  // one for each connection that receives
};

struct Totals {
  const std::string* state = nullptr;  // as in Lane
  std::int64_t received = 0;
  std::int64_t size = 0;  // 0: unknown; below: it is, and nothing is shown in its place
  bool busy = false;      // bytes come or are awaited, and nobody knows how many
  double bytesPerSecond = 0;
  float percent = 0;
  float elapsed = 0;    // seconds; 0: there are no figures yet
  float remaining = 0;  // seconds; below 0: unknown
};

// What Command3 does at a click. It is never derived from the record: its caption changes at moments.
enum class Command3Means { Pause, Resume };

// What the user is to decide in the download's window.
struct EngineQuestion {
  std::string yes;  // captions of the buttons
  std::string no;
  std::function<void(bool)> answer;  // called once, or never
};

// Called from the engine's events, at once.
class EngineView {
 public:
  virtual void ShowState(const std::string& text) = 0;
  virtual void ShowAddress(const std::string& url) = 0;
  virtual void ShowCommand3(Command3Means means) = 0;  // and an open question is void
  virtual void ShowQuestion(EngineQuestion question) = 0;
  virtual void EnableCommand3(bool enabled) = 0;
  virtual void ShowLanes(int count) = 0;  // so many rows, and no more
  virtual void RefreshList(std::int16_t row) = 0;
  virtual void DoRefresh() = 0;
  virtual void SetFinished() = 0;    // a click on Command1 or Command3 opens the file or its folder
  virtual void OfferFile() = 0;      // and their captions say so
  virtual void EngineRetired() = 0;  // unload; no call follows

 protected:
  ~EngineView() = default;
};

class Engine {
 public:
  virtual ~Engine() = default;

  // Once, before all others. The view must live until EngineRetired or DropView.
  virtual void Begin(const Slot& slot, EngineView& view) = 0;
  virtual void DropView() = 0;  // continues without it

  virtual Task<> InitConnection() = 0;
  virtual Task<> ConnectSegmented() = 0;
  virtual Task<> ConnectFromViewer() = 0;
  virtual Task<> ResumeDownload() = 0;
  virtual void PauseDownload() = 0;
  virtual void Retire() = 0;  // for good: closes everything and touches no record

  virtual bool Current() const = 0;  // the record is still this engine's
  virtual bool StillCurrent() = 0;   // False: and it has retired
  virtual std::uint32_t SilentFor() const = 0;
  virtual void SaveProgress() {}  // as in Transfer
  virtual bool IsProgressSaved() const { return true; }

  virtual int LaneCount() const = 0;
  // `lane` counts from 1. Failure(OutOfRange) for one that a damaged list promises and does not have.
  virtual Lane LaneAt(int lane, LaneForm form) const = 0;
  virtual Totals Figures() = 0;  // holds the record's Percent at 100 too
  virtual FileMap Map() const { return {}; }
};

}  // namespace pellora
