// SimMedia: media graphs that only record calls. A test sets how long rendering takes and which files cannot be
// rendered; a rendered graph shows a frame once it is cued or playing.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "SimLoop.h"
#include "ports/Media.h"

namespace pellora {

class SimMedia final : public Media {
 public:
  explicit SimMedia(SimLoop& loop) : loop_(loop) {}
  std::unique_ptr<MediaGraph> NewGraph() override;

  // The calls, each with its graph's number from 1: "1 render /d/a.avi", "1 run". An attachment is recorded only if it
  // changes something.
  const std::vector<std::string>& Calls() const { return calls_; }
  bool Called(const std::string& call) const;
  int Graphs() const { return graphs_; }         // created so far
  int Living() const { return living_; }         // not released yet
  int Attachments() const { return attached_; }  // SetOwner calls, including those that changed nothing

  std::set<std::string> broken;    // paths that cannot be rendered
  std::set<std::string> silent;    // paths whose rendering never ends
  std::uint32_t renderTime = 300;  // milliseconds

 private:
  friend class SimMediaGraph;
  SimLoop& loop_;
  std::vector<std::string> calls_;
  int graphs_ = 0;
  int living_ = 0;
  int attached_ = 0;
};

}  // namespace pellora
