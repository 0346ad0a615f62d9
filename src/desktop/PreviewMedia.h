// PreviewMedia: media graphs in processes of their own. A graph starts one when it renders a file and ends it
// when it goes; a process that dies, says nothing for too long or says what it should not leaves a blank
// surface, and a program that has lost nothing.
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
  std::chrono::milliseconds patience = std::chrono::seconds(20);  // after which a rendering is given up
  std::chrono::milliseconds processorTime = kPreviewProcessorTime;
};

class PreviewMedia final : public Media {
 public:
  // `program` is the preview process's executable.
  PreviewMedia(EventGate& gate, std::string program, const PreviewLimits& limits = {});
  ~PreviewMedia() override;  // after its graphs

  std::unique_ptr<MediaGraph> NewGraph() override;

  int Processes() const;  // that have not ended yet

 private:
  EventGate& gate_;
  const std::string program_;
  const PreviewLimits limits_;
  std::unique_ptr<QObject> processes_;  // their parent
};

}  // namespace pellora
