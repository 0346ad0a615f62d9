// Another address for a download that has begun, such as the fresh one of a link that had expired.
//
// The download's next start asks the new address, without If-Range, and takes nothing but the file that it has begun:
// size and validator agree, or what is here is compared with what comes. Until then the record keeps its address, and
// so it does if the file differs or the server refuses.
//
// Then the journal gets an entry of the new address with the same id; once that is on the disk the list is saved with
// the new address, and after that the former entry is dropped (SweepJournal). After a kill in between, the list says
// which of the two addresses the download has (RestoreWebRecords).
#include "core/EngineChoice.h"
#include "core/ListFile.h"
#include "fetch/WebEngine.h"

namespace pellora {

const AddressReading* WebEngine::NewAddress() const {
  const auto at = services_->newAddresses.find(entry_.key);
  return at == services_->newAddresses.end() ? nullptr : &at->second;
}

// The login of the former address goes to its own origin alone.
void WebEngine::UseNewAddress(const AddressReading& address) {
  given_.user = address.parsed.user;
  given_.password = address.parsed.password;
  if (given_.user.empty() && SharesSecretsOfListed()) UseListedLogin();
  unconditional_ = true;
}

bool WebEngine::SharesSecretsOfListed() {
  const std::optional<WebAddress> listed = ParseWebAddress(Record().URL);
  return listed && SharesSecrets(*listed, given_);
}

// By an answer, or all that was here has been compared with what came.
bool WebEngine::NewAddressIsProven() const {
  const std::int64_t end = heldBefore_.Ranges().empty() ? 0 : heldBefore_.Ranges().back().end;
  return sources_.Main().proven || (comparedTo_ >= end && !Compares());
}

void WebEngine::TakeNewAddress() {
  const AddressReading* const address = NewAddress();
  if (address == nullptr || movingKey_ || differs_ || !NewAddressIsProven()) return;
  WriteJournal(JournalStateNow());
  JournalEntry moved = entry_;
  moved.key = JournalKeyOf(address->listed, Record().DateAdded);
  if (moved.key == entry_.key) return MoveTo(moved.key);
  movingKey_ = true;
  services_->journal.Put(moved, [weak = weak_from_this(), services = services_, key = moved.key](bool written) {
    const std::shared_ptr<WebEngine> self = weak.lock();
    if (self && self->StillCurrent()) return self->NewAddressJournaled(key, written);
    services->journal.Drop(key);
  });
}

void WebEngine::NewAddressJournaled(const JournalKey& key, bool written) {
  movingKey_ = false;
  const AddressReading* const address = NewAddress();
  const bool taken = address != nullptr && FindListed(program_, address->listed, EngineName::Web) == 0;
  if (written && taken) return MoveTo(key);
  services_->journal.Drop(key);
  if (address == nullptr) return;
  const std::string reason =
      written ? Say(WebText::AddressIsListed) : Say(WebText::NotWritten, {services_->journal.Path()});
  if (Fetching() || state_ == FetchState::Finishing) return Rest(FetchEvent::DiskFailed, reason);
  (void)KeepFormerAddress(reason);
}

void WebEngine::MoveTo(const JournalKey& key) {
  const AddressReading address = *NewAddress();
  services_->newAddresses.erase(entry_.key);
  DownloadRecord& record = Record();
  services_->handOvers.Move(entry_.key, key, SharesSecretsOfListed());
  if (auto selection = services_->selections.extract(entry_.key); !selection.empty()) {
    selection.key() = key;
    services_->selections.insert(std::move(selection));
  }
  auto login = services_->addedLogins.extract(entry_.key);
  if (!login.empty() && SharesSecretsOfListed()) {
    login.key() = key;
    services_->addedLogins.insert(std::move(login));
  }
  // Until the list is saved nothing may take the former entry, or its part file, for that of a deleted download.
  services_->listed.erase(entry_.key);
  if (!(key == entry_.key)) services_->superseded.insert(entry_.key);
  services_->superseded.erase(key);
  entry_.key = key;
  entry_.hadCookies = services_->handOvers.HasCookies(key);
  entry_.hadPage = services_->handOvers.HasPage(key);
  record.URL = address.listed;
  record.Host = address.parsed.host;
  record.Port = address.parsed.port;
  record.Path = address.parsed.path;
  record.Protocol = address.parsed.protocol;
  record.UserName = given_.user;
  record.Password = given_.password;
  WriteJournal(JournalStateNow());
  (void)SaveListBeforeTouchingParts(program_);
  if (view_ != nullptr) view_->ShowAddress(record.URL);
  program_.lists->RefreshRows(kAllRows, kForced);
}

std::string WebEngine::KeepFormerAddress(const std::string& reason) {
  services_->newAddresses.erase(entry_.key);
  return Say(WebText::AddressKept, {reason});
}

}  // namespace pellora
