// Drops: what is dropped on the main window or the basket, and files of addresses.
#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "async/EventGate.h"
#include "async/InBackground.h"
#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "core/EngineChoice.h"
#include "core/Metalink.h"
#include "core/UrlList.h"
#include "core/WebTexts.h"
#include "mainwin/AddDownload.h"
#include "mainwin/ListFiles.h"
#include "mainwin/MainWindow.h"
#include "mainwin/MetalinkAdds.h"
#include "ports/Failure.h"
#include "ports/Files.h"

namespace pellora {

namespace {

// A local file that is none of addresses.
bool IsUnlistedFile(const std::string& address) { return IsFileUrl(address) && !ListFileOf(address); }

// The name and the checksum are those of one file.
std::vector<ListedAdd> AddsOf(const std::vector<std::string>& addresses, const AddRequest& common) {
  std::vector<ListedAdd> adds;
  for (const std::string& address : addresses) {
    ListedAdd& add = adds.emplace_back();
    add.request = common;
    add.request.url = address;
    add.request.name.clear();
    add.request.web.checksum.reset();
  }
  return adds;
}

bool HasSecrets(const AddRequest& request) {
  const WebAdd& web = request.web;
  return !web.user.empty() || !web.password.empty() || !web.handOver.cookies.empty();
}

}  // namespace

bool MainWindow::TakeDrop(const DataObject& data) {
  const auto hold = Hold();
  bool taken = false;
  platform_.gate.Deliver([&] { taken = TakeDropped(data, false, this); });
  return taken;
}

// A drag without a text that can be taken may still offer links. A text that takes the other program too long to send
// arrives empty.
bool MainWindow::TakeDropped(const DataObject& data, bool later, const void* caller) {
  bool offered = false;
  bool arrived = false;
  for (const int format : {kTextFormat, kLinksFormat}) {
    if (!data.GetFormat(format)) continue;
    const std::string text = data.GetData(format);
    if (TakeText(text, later, caller)) return true;
    offered = true;
    arrived = arrived || !text.empty();
  }
  if (offered && !arrived) Status("The dropped text has not arrived, or is empty.");
  return false;
}

bool MainWindow::TakeText(const std::string& text, bool later, const void* caller) {
  const bool oneLine = text.find_first_of("\r\n") == std::string::npos;
  std::vector<std::string> addresses = ReadUrlList(text).addresses;
  std::erase_if(addresses, [](const auto& address) { return IsUnlistedFile(address); });
  const bool single = addresses.size() == 1 && TakesScheme(program_, addresses.front());
  if (!single && !(oneLine && TakesScheme(program_, TrimBlanks(text))))
    return OfferText(text, {.url = {}, .later = later, .caller = caller});
  // A single line is passed on unchanged.
  AddRequest request{.url = oneLine ? text : addresses.front(), .later = later, .caller = caller};
  platform_.tasks.Spawn(AddDownload(&program_, std::move(request)));
  return true;
}

// Shows all of its addresses, and those in the files that it names, if it names a file or any can be taken.
bool MainWindow::OfferText(const std::string& text, const AddRequest& common) {
  UrlListReading reading = ReadUrlList(text);
  std::vector<std::string> files;
  for (const std::string& address : reading.addresses) {
    if (std::optional<std::string> path = ListFileOf(address)) files.push_back(std::move(*path));
  }
  if (std::optional<std::string> path = ListFileOf(TrimBlanks(text))) files.assign(1, std::move(*path));
  std::erase_if(reading.addresses, [](const auto& address) { return IsFileUrl(address); });
  const bool any = std::any_of(reading.addresses.begin(), reading.addresses.end(),
                               [this](const auto& address) { return TakesScheme(program_, address); });
  if (!any) reading.addresses.clear();
  if (files.empty() && !any) return false;
  platform_.tasks.Spawn(Offer(std::move(reading.addresses), std::move(files), common, reading.cut));
  return true;
}

// What was typed and is not used.
std::string MainWindow::NoteOnSeveral(const AddRequest& common, bool dropsSecrets) const {
  std::string note;
  if (!common.name.empty() || common.web.checksum) note = TextOf(program_, WebText::NotForSeveral);
  if (!dropsSecrets || !HasSecrets(common)) return note;
  if (!note.empty()) note += ' ';
  return note + TextOf(program_, WebText::NotForSeveralServers);
}

void MainWindow::OfferAddresses(const std::vector<std::string>& addresses, const AddRequest& common, bool cut) {
  std::vector<ListedAdd> adds = AddsOf(addresses, common);
  const bool severalServers = !AreOfOneServer(adds);
  if (severalServers) DropSecrets(adds);
  addList->Offer(std::move(adds), cut, NoteOnSeveral(common, severalServers));
}

// The user's own file: its checksums are as safe as the addresses in it.
void MainWindow::OfferMetalink(std::vector<MetalinkFile> files, const AddRequest& common) {
  if (files.empty()) return Status(TextOf(program_, WebText::BadMetalink));
  MetalinkFiles metalink{.files = std::move(files), .add = common.web};
  metalink.add.folder = common.folder;
  std::vector<ListedAdd> adds = ListedAddsOf(program_, metalink);
  for (ListedAdd& add : adds) add.request.later = common.later;
  const bool severalServers = !AreOfOneServer(adds);
  addList->Offer(std::move(adds), false, NoteOnSeveral(common, severalServers));
}

Task<> MainWindow::Offer(std::vector<std::string> addresses, std::vector<std::string> files, AddRequest common,
                         bool cut) {
  const auto hold = Hold();
  if (!addresses.empty()) OfferAddresses(addresses, common, cut);
  for (const std::string& path : files) {
    const auto bytes = std::make_shared<std::string>();
    const auto listed = std::make_shared<std::vector<MetalinkFile>>();
    Background::Work read = [from = &platform_.files, bytes, listed, path] {
      *bytes = BeginningOf(*from, path);
      if (IsMetalinkFile(path)) *listed = ReadMetalink(*bytes).value_or(std::vector<MetalinkFile>());
    };
    try {
      co_await InBackground(&platform_, std::move(read));
    } catch (const Failure& failure) {
      Status(failure.what());
      continue;
    }
    if (IsMetalinkFile(path)) {
      OfferMetalink(std::move(*listed), common);
      continue;
    }
    const UrlListReading reading = ReadUrlList(*bytes);
    OfferAddresses(reading.addresses, common, reading.cut);
  }
}

}  // namespace pellora
