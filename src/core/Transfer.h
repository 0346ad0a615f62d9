// Transfer: what the core, the lists and the viewers need of a transfer object, and what a transfer needs of the lists.
// Implemented by TransferWindow, Form2 and MainWindow; the App puts them together.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "async/Task.h"

namespace pellora {

// The transfer object of one record. Held by its slot in TransferWindows, by the EventGate while loaded and by its
// running tasks.
class Transfer {
 public:
  virtual ~Transfer() = default;
  virtual void SetRecordIndex(std::int16_t index) = 0;  // once, before InitConnection
  virtual Task<> InitConnection() = 0;                  // starts the probe
  virtual Task<> ConnectSegmented() = 0;                // plans if necessary and connects the segments
  // The same on the way from the viewer: says so in the window, and ends a pause.
  virtual Task<> ConnectFromViewer() { return ConnectSegmented(); }
  virtual void PauseDownload() = 0;
  virtual Task<> ResumeDownload() = 0;
  // Milliseconds since the last byte on any of its connections, or since its start or resume. 0 once nothing more is
  // expected from the server.
  virtual std::uint32_t SilentFor() const = 0;
  // Notes on the disk what has arrived, earlier than it would; and whether that is done.
  virtual void SaveProgress() {}
  virtual bool IsProgressSaved() const { return true; }
  virtual void ShowWindow() = 0;  // a window that has unloaded itself is not shown again
  virtual void HideWindow() = 0;
  virtual void UnloadWindow() = 0;  // closes its sockets and files; its slot is the caller's concern
};

// The online viewer of one record's archive. Held by its slot in ZipViewers, by the EventGate while loaded and by its
// running tasks.
class ZipViewer {
 public:
  virtual ~ZipViewer() = default;
  virtual void SetIndex(std::int16_t index) = 0;  // once, before Start
  virtual Task<> Start() = 0;                     // reads the archive's directory and lists it
  virtual void UnloadWindow() = 0;
};

// For RefreshRows.
inline constexpr std::int16_t kAllRows = 0;
inline constexpr std::int16_t kUnforced = 0;  // subject to the lists' limit
inline constexpr std::int16_t kForced = 1;

// The main window, for the layers below it.
class Lists {
 public:
  virtual ~Lists() = default;
  static constexpr std::uint32_t kRefreshMilliseconds = 500;
  // `index` 0: all rows. Postponed within kRefreshMilliseconds of the last refresh unless `force` is above 0.
  virtual void RefreshRows(std::int16_t index, std::int16_t force) = 0;
  virtual void RefreshDownList() = 0;
  // Both lists, once for all downloads that finish until the next tick.
  virtual void RefreshFinishedSoon() = 0;
  virtual void Status(const std::string& text) = 0;  // the hint line
  virtual Task<> Restart(std::int16_t index) = 0;    // starts, resumes or queues one record
};

}  // namespace pellora
