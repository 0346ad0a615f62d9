#include "WebFixture.h"

#include "app/NewTransferWindow.h"
#include "transferwin/TransferWindow.h"

namespace pellora {

void FakeEngine::Begin(const Slot& slot, EngineView& view) {
  slot_ = slot;
  view_ = &view;
  program_.AddWeb(slot.Index());
}

Task<> FakeEngine::InitConnection() {
  ++starts;
  Web().standing = WebStanding::Active;
  co_return;
}

Task<> FakeEngine::ResumeDownload() {
  ++resumes;
  Record().Active = true;
  Record().Paused = false;
  Web().standing = WebStanding::Active;
  Web().reason.clear();
  co_return;
}

void FakeEngine::End(WebStanding standing) {
  Web().standing = standing;
  Record().Active = false;
  program_.lists->RefreshRows(kAllRows, kForced);
}

void FakeEngine::PauseDownload() {
  Record().Paused = true;
  End(WebStanding::Paused);
}

void FakeEngine::Stop(const std::string& reason) {
  Web().reason = reason;
  End(WebStanding::Stopped);
}

void FakeEngine::Receive(std::int64_t received, std::int64_t size) {
  Web().received = received;
  Web().size = size;
  Record().Percent = size > 0 ? static_cast<float>(received * 100 / size) : 0.0F;
}

void FakeEngine::Finish(const std::string& path, std::int64_t size) {
  Receive(size, size);
  Record().FileName = path.substr(path.rfind('/') + 1);
  Record().SavePath = path;
  Record().Finished = true;
  End(WebStanding::Finished);
  program_.lists->RefreshDownList();
}

void FakeEngine::Retire() {
  if (retired) return;
  retired = true;
  if (view_ != nullptr) view_->EngineRetired();
}

bool FakeEngine::StillCurrent() {
  if (Current()) return true;
  Retire();
  return false;
}

WebFixture::WebFixture(std::int32_t setting) {
  if (setting != kWebEngineNewSchemes) {
    sim.settings().values[{"Pellora", "WebEngine"}] = std::to_string(setting);
  }
  sim.platform().fetcher = &fetcher;
  program().newTransferWindow = [this](std::int16_t index) { return NewTransferWindow(program(), index); };
  program().newWebEngine = [this](Program& theProgram) {
    engines.push_back(std::make_shared<FakeEngine>(theProgram));
    return engines.back();
  };
}

FakeEngine* WebFixture::EngineOf(int index) {
  const auto window = std::dynamic_pointer_cast<TransferWindow>(program().TransferWindowAt(index));
  return window ? dynamic_cast<FakeEngine*>(window->engine().get()) : nullptr;
}

const ListRow& WebFixture::CurrentRow(int index) {
  static const ListRow kNone;
  const ListRow* const row = Row(window().ListView1, static_cast<std::int16_t>(index));
  EXPECT_NE(row, nullptr) << index;
  return row != nullptr ? *row : kNone;
}

DownloadInfo WebFixture::InfoOf(int index) {
  for (const DownloadInfo& info : app->List()) {
    if (info.index == index) return info;
  }
  ADD_FAILURE() << index << " is not listed";
  return {};
}

std::vector<AddAnswer> WebFixture::AddFromScript(const std::string& url) {
  std::vector<AddAnswer> answers;
  Do([&] { app->Add({.url = url}, [&answers](const AddAnswer& answer) { answers.push_back(answer); }); });
  return answers;
}

}  // namespace pellora
