// User: a random user of the program's windows. Each action follows from its salt and from what is open.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "SimPlatform.h"
#include "app/App.h"
#include "mainwin/MainWindow.h"

namespace pellora {

class User {
 public:
  // `act` delivers one event of the program.
  // `url` gives an address to add.
  User(App& app, SimPlatform& sim, std::function<std::string(SimRandom&)> url,
       std::function<void(const std::function<void()>&)> act)
      : app_(app), sim_(sim), url_(std::move(url)), act_(std::move(act)) {}

  void Act(std::uint64_t salt);
  // Answers open questions with Yes, but No to duplicates.
  void AnswerKindly();
  int Added() const { return added_; }

 private:
  std::uint64_t Random(std::uint64_t below) { return random_.Below(below); }
  void Choose();
  void CopyUrl();
  void AddUrl();
  void ActOnList();
  void ActOnPane();
  void ActOnWindow();
  void ActOnViewer();
  void ActOnOptions();
  void ActOnQuestion();
  void ActOutside();

  App& app_;
  SimPlatform& sim_;
  std::function<std::string(SimRandom&)> url_;
  std::function<void(const std::function<void()>&)> act_;
  SimRandom random_{0};
  int added_ = 0;
};

}  // namespace pellora
