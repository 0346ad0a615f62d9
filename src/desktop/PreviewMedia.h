// PreviewMedia: media graphs in separate processes. A graph starts a process when it renders a file and ends it when it
// is destroyed. A process that crashes, hangs or breaks the protocol leaves a blank surface and does no other harm.
#pragma once

#include <QObject>
#include <chrono>
#include <memory>
#include <string>

#include "desktop/preview/Protocol.h"
#include "ports/Media.h"

namespace pellora {

class EventGate;

struct PreviewLimits {
  std::chrono::milliseconds renderTimeout = std::chrono::seconds(20);  // for rendering the first frame
  std::chrono::milliseconds processorTime = kPreviewProcessorTime;
};

class PreviewMedia final : public Media {
 public:
  // `program` is the preview process's executable.
  PreviewMedia(EventGate& gate, std::string program, const PreviewLimits& limits = {});
  ~PreviewMedia() override;  // the graphs must be gone

  std::unique_ptr<MediaGraph> NewGraph() override;

  int Processes() const;  // still running

 private:
  EventGate& gate_;
  const std::string program_;
  const PreviewLimits limits_;
  std::unique_ptr<QObject> processes_;  // their parent
};

}  // namespace pellora
