// PreviewMedia: media graphs in processes of their own. A graph starts one when it renders a file and ends it
// when it goes; a process that dies, says nothing for too long or says what it should not leaves a blank
// surface, and a program that has lost nothing.
#pragma once

#include <QObject>
#include <chrono>
#include <memory>
#include <string>

#include "platform/Media.h"

namespace pellora {

class EventGate;

class PreviewMedia final : public Media {
 public:
  // `program` is the preview process's executable. A rendering is given up after `patience`.
  PreviewMedia(EventGate& gate, std::string program, std::chrono::milliseconds patience = std::chrono::seconds(20));
  ~PreviewMedia() override;  // after its graphs

  std::unique_ptr<MediaGraph> NewGraph() override;

  int Processes() const;  // that have not ended yet

 private:
  EventGate& gate_;
  const std::string program_;
  const std::chrono::milliseconds patience_;
  std::unique_ptr<QObject> processes_;  // their parent
};

}  // namespace pellora
