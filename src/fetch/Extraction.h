// Extraction: which of the chosen entries of an archive are still to be fetched and unpacked. It knows no time and
// touches no file.
//
// Entries go by their number in the selection. One is ready as soon as all of its range is in the part file. Those that
// fail are set aside, so that the others continue; what is to become of them is decided once nothing else is left.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/IntervalSet.h"
#include "core/Selection.h"

namespace pellora {

// Bytes of the archive that are to be fetched for all of its entries.
std::int64_t BytesToFetch(const Selection& selection);
// Of its entries when they are unpacked.
std::int64_t BytesUnpacked(const Selection& selection);

class Extraction {
 public:
  Extraction(std::shared_ptr<const Selection> selection, IntervalSet unpacked);

  const Selection& Chosen() const { return *selection_; }
  SelectedEntry Entry(std::size_t number) const;  // as far as it is known now to reach
  const IntervalSet& Unpacked() const { return unpacked_; }

  // The user starts it: what was set aside is tried again.
  void BeginAgain();
  // What is in the part file.
  void SetHeld(const IntervalSet& written);
  void Arrived(const IntervalSet& written, Range range);
  // What a plan of the whole file has not to fetch: what is written, and all that nobody wants.
  IntervalSet HeldOrUnwanted(const IntervalSet& written) const;
  std::int64_t Size() const { return size_; }  // bytes to fetch, of all entries

  std::optional<std::size_t> Next() const;                                                    // to be unpacked
  bool AllAreUnpacked() const { return needed_.Ranges().empty() && Next() == std::nullopt; }  // of the files
  bool HasAllFiles() const;                                                                   // unpacked
  // They come last, as what gets into a folder changes its time.
  std::vector<std::size_t> Folders() const { return {folders_.begin(), folders_.end()}; }

  // Its file is complete: it is not Next any more, though not unpacked before it has its name.
  void IsComplete(std::size_t number) { ready_.erase(number); }
  // Its file is gone without having had a name.
  void IsGone(std::size_t number) { ready_.insert(number); }
  void IsUnpacked(std::size_t number);
  // It reaches further by these bytes. False, and nothing has changed, if that cannot be.
  bool NeedsMore(std::size_t number, Range more);
  // The first time it is to be fetched again.
  void IsDamaged(std::size_t number, bool isOther);
  // There is no password, or it does not fit. If some of the entry was unpacked, or after the second password, its
  // bytes may be wrong as well: it is to be fetched again, once.
  void LacksPassword(std::size_t number, bool isGiven, bool someUnpacked);
  // The folder can have no file or folder of its name: for the user, why.
  void CannotBeNamed(std::size_t number, const std::string& reason);

  bool IsIncomplete() const { return !again_.empty() || lengthened_; }
  // What is to be fetched once more, and has to be forgotten before.
  struct Again {
    std::vector<Range> damaged;
    std::vector<Range> locked;  // bytes of which nothing proves that they are wrong
  };
  Again TakeAgain();
  bool WantsPassword() const { return !locked_.empty(); }

  // What stays packed when all else is unpacked.
  bool HasFaults() const { return !damaged_.empty() || !undecrypted_.empty() || !nameless_.empty(); }
  bool HasChanged() const { return changed_; }  // the archive: entries are not where they were
  const std::set<std::size_t>& Damaged() const { return damaged_; }
  const std::set<std::size_t>& Undecrypted() const { return undecrypted_; }         // a wrong password, or damaged
  const std::map<std::size_t, std::string>& Nameless() const { return nameless_; }  // with the reasons

 private:
  void FindNeeded();
  bool IsAside(std::size_t number) const;

  const std::shared_ptr<const Selection> selection_;
  IntervalSet unpacked_;
  IntervalSet needed_;  // bytes of entries that were not unpacked when it began
  std::int64_t size_ = 0;
  std::vector<Range> ranges_;  // by entry
  std::set<std::size_t> ready_;
  std::set<std::size_t> folders_;
  std::set<std::size_t> again_;         // to be fetched once more
  std::set<std::size_t> fetchedAgain_;  // were
  std::set<std::size_t> locked_;
  std::map<std::size_t, int> misfits_;  // passwords that did not fit
  std::set<std::size_t> damaged_;
  std::set<std::size_t> undecrypted_;
  std::map<std::size_t, std::string> nameless_;
  bool lengthened_ = false;
  bool changed_ = false;
};

}  // namespace pellora
