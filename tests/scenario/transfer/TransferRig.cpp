#include "TransferRig.h"

#include "SimExamine.h"
#include "async/EventGate.h"
#include "core/ListFile.h"
#include "core/ParseUrl.h"
#include "core/RecordLife.h"
#include "ports/Failure.h"

namespace pellora {

TransferRig::TransferRig(SimOptions options) : sim(std::move(options)), program(sim.platform()) {
  sim.examine = [this] { return FindViolations(program, sim); };
  program.lists = &lists;
  program.newTransferWindow = [this](std::int16_t index) { return NewTransferWindow(program, index); };
  program.listLoaded = true;
  program.languageRead = true;
  program.settings.MaxSegments = 4;
  program.settings.MaxSimulDownlads = 3;
  program.settings.DownloadFolder = "/home/u/dl/";
  program.settings.TempFolder = "/home/u/tmp/";
  sim.disk().MakeFolder("/home/u/dl");
  sim.disk().MakeFolder("/home/u/tmp");
  const std::vector<std::pair<int, std::string>> texts = {
      {0, "bytes"},     {1, "kb"},          {2, "mb"},        {3, "gb"},        {4, "h"},
      {5, "min"},       {6, "s"},           {515, "text515"}, {516, "text516"}, {520, "text520"},
      {521, "text521"}, {522, "text522"},   {523, "text523"}, {524, "text524"}, {525, "text525"},
      {526, "text526"}, {527, "text527"},   {528, "text528"}, {530, "text530"}, {531, "text531"},
      {534, "text534"}, {535, "text535 ("}, {536, "text536"}, {537, "text537"}, {951, "\""}};
  for (const auto& [number, text] : texts) program.LangStrings.at(static_cast<std::size_t>(number)) = text;
}

DownloadRecord TransferRig::Filled(const std::string& url) {
  const ParsedUrl parsed = ParseUrl(url);
  EXPECT_EQ(parsed.result, 100) << url;
  return NewRecord(program, url, parsed, 0);
}

std::int16_t TransferRig::Add(const std::string& url) {
  program.ResizeDownloads(static_cast<std::int16_t>(program.DownloadCount + 1));
  program.RaiseSerial(program.DownloadCount);
  Record(program.DownloadCount) = Filled(url);
  return program.DownloadCount;
}

void TransferRig::Refill(std::int16_t index, const std::string& url) {
  program.RaiseSerial(index);
  program.TransferWindowAt(index).reset();
  Record(index) = Filled(url);
}

std::int16_t TransferRig::Start(const std::string& url) {
  const std::int16_t index = Add(url);
  sim.Do([&] { sim.tasks().Spawn(StartTransfer(&program, index, pellora::Start::Added)); });
  return index;
}

void TransferRig::StartListed(std::int16_t index) {
  sim.Do([&] { sim.tasks().Spawn(StartTransfer(&program, index, pellora::Start::Queued)); });
}

void TransferRig::Delete(std::int16_t index) {
  sim.Do([&] {
    EmptyPlace(program, index);
    Release(program, index, kDeleted);
  });
}

std::int16_t TransferRig::AddComplete(const std::vector<std::string>& parts, const std::string& url) {
  const std::int16_t index = Add(url);
  DownloadRecord& record = Record(index);
  record.Segments.resize(parts.size() + 1);
  record.SegmentCount = static_cast<std::int16_t>(parts.size());
  std::int32_t at = 0;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    SegmentRecord& segment = record.Segments[i + 1];
    const auto size = static_cast<std::int32_t>(parts[i].size());
    segment.RangeStart = at;
    segment.RangeEnd = at + size - 1;
    segment.RangeSize = segment.ReceivedNow = size;
    segment.State = kSegmentComplete;
    segment.Enabled = segment.Watched = true;
    segment.TempFile = "/home/u/tmp/" + record.FileName + (index > 1 ? std::to_string(index) : "") + "00" +
                       std::to_string(i + 1) + ".tmp";
    sim.disk().Put(segment.TempFile, parts[i]);
    at += size;
  }
  record.FileSize = record.Received = at;
  record.Percent = 100.0F;
  record.Paused = true;
  return index;
}

void TransferRig::GiveWindow(std::int16_t index) {
  const auto window = NewTransferWindow(program, index);
  program.TransferWindowAt(index) = window;
  sim.Do([&] {
    window->SetRecordIndex(index);
    window->Load();
  });
}

void TransferRig::SaveEveryFiveSeconds() {
  sim.After(5000, [this] {
    Skip([&] { SaveList(program); });
    SaveEveryFiveSeconds();
  });
}

void TransferRig::Pause(std::int16_t index) {
  sim.Do([&] { program.TransferWindowAt(index)->PauseDownload(); });
}

void TransferRig::Resume(std::int16_t index) {
  sim.Do([&] { program.platform.tasks.Spawn(program.TransferWindowAt(index)->ResumeDownload()); });
}

void TransferRig::Answer(int answer) {
  if (sim.dialogs().OpenCount() == 0) {
    ADD_FAILURE() << "no box stands";
    return;
  }
  sim.dialogs().AnswerNext(answer);
  sim.RunReady();
}

std::string TransferRig::Broken(int index) {
  const DownloadRecord& record = Record(index);
  for (int i = 1; i <= record.SegmentCount; ++i) {
    const SegmentRecord& segment = record.Segment(i);
    const std::string name = "segment " + std::to_string(i);
    const std::int64_t planned = std::int64_t{segment.RangeEnd} + segment.ReceivedTotal - segment.RangeStart + 1;
    if (planned != segment.RangeSize) return name + " has lost its plan";
    if (segment.Received() < 0) return name + " counts below zero";
    if (record.Finished) continue;
    if (static_cast<std::int64_t>(sim.disk().Size(segment.TempFile)) < segment.Received()) {
      return name + " counts bytes that its part file does not have";
    }
  }
  return {};
}

}  // namespace pellora
