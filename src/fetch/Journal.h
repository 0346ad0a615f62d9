// Journal: the journal of the web engine's downloads while the program runs. Lines are appended outside of the event
// loop, in the order of the calls, those of many downloads with one flush, and are on the disk when `done` comes.
//
// A line that cannot be written costs progress alone: the file is cut back to its last good length, and downloads
// continue.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "fetch/DiskTurns.h"
#include "fetch/JournalCodec.h"
#include "ports/Platform.h"

namespace pellora {

// Whether no other download may be written to the path of this one.
bool ClaimsPath(const JournalEntry& entry);

class Journal {
 public:
  using Place = DiskTurns::Place;

  // `path` is the journal's file. Nothing is read or written before Open. `turns` must outlive this.
  Journal(const Platform& platform, DiskTurns& turns, std::string path);

  // Reads the file, if there is one, and rewrites it. Failure(File) if it is there and cannot be read; then nothing is
  // known of its downloads.
  void Open();
  bool Readable() const { return readable_; }
  bool Damaged() const { return damaged_; }  // lines of it could not be understood
  const std::string& Path() const;

  const JournalEntry* Find(const JournalKey& key) const;  // null if there is none
  const std::map<JournalKey, JournalEntry>& All() const { return entries_; }
  std::vector<JournalEntry> Entries() const;  // a copy, for those who change the journal meanwhile
  // A line of it has reached the disk.
  bool IsOnDisk(const JournalKey& key) const;
  // All lines have reached the disk, or could not be written.
  bool IsWritten() const;
  // What downloads other than `own` that are not finished will be called.
  std::set<std::string> ClaimedPaths(const JournalKey& own) const;
  std::uint64_t NewId() { return nextId_++; }

  using Done = std::function<void(bool written)>;
  // What the line says must be so already, or come about by works that Background has; those only with Place::Kept.
  void Put(const JournalEntry& entry, Done done = {}, Place place = Place::OrBefore);
  // Writes that the download is gone, forgets it, and deletes its part files. What the end of the program, a kill or
  // the disk prevents DeleteLeft does at the next start.
  void Remove(const JournalKey& key, Done done = {});
  // The same for a part file that is of no more use to its download.
  void Discard(const std::string& part, const FileIdentity& identity);
  // At a start: deletes what earlier runs have left of deleted downloads.
  void DeleteLeft();
  // Forgets an entry whose download, if there is one, has another entry now. Its part file stays.
  void Drop(const JournalKey& key);
  // At the end of the program, which drops what Background has not begun: writes at once what is still to be written.
  // It waits for no work, and what works write from now on may be lost.
  void Finish();

 private:
  struct Store;
  struct Reported;
  class Line;
  void Append(std::string line, Done done, Place place = Place::OrBefore);
  void Keep(const JournalEntry& entry);
  bool Forget(const JournalKey& key);              // False if there is no such entry
  std::string KeepLeft(const JournalEntry& gone);  // the lines that say so
  void DeleteLeft(const std::string& part, const FileIdentity& identity);
  void ForgetLeft(const std::string& part, const FileIdentity& identity);
  bool NeedsPart(const std::string& path) const;
  std::string Whole() const;
  std::string MissingDeletions() const;

  const Platform& platform_;
  const std::shared_ptr<Store> store_;
  const std::shared_ptr<Reported> reported_;
  DiskTurns& turns_;
  std::map<JournalKey, JournalEntry> entries_;
  std::set<JournalKey> claiming_;             // entries whose paths are claimed
  std::map<std::string, FileIdentity> left_;  // part files to be deleted, which may be there: a new journal names them
  const std::shared_ptr<char> alive_ = std::make_shared<char>();  // deletions may end after the journal
  std::uint64_t nextId_ = 1;
  std::uint64_t appended_ = 0;  // bytes since it was last rewritten
  bool readable_ = true;
  bool damaged_ = false;
};

}  // namespace pellora
