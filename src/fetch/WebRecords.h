// WebRecords: how the list and the journal of the web engine are kept together.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/WebAdd.h"

namespace pellora {

class DownloadFiles;
class Program;
struct AddressReading;
struct JournalEntry;
struct Selection;
struct WebServices;

// At a start, after the list was loaded: gives the web engine's records what the journal knows of them. Records that
// the list lacks come back from the journal, and a rename that a kill cut short is completed in the records.
// Failure(File) for a journal that is there and cannot be read.
void RestoreWebRecords(Program& program, WebServices& services);

// The download is complete although the entry does not say so: its part file got its name. May wait for the disk.
bool HasItsName(const DownloadFiles& files, const JournalEntry& entry);

// What was given with an add, before its download begins, and whether that is queued. The journal keeps neither cookies
// nor the page, but that there were some.
void RememberAdd(Program& program, WebServices& services, std::int16_t index, const WebAdd& add);

// The record is no browser's any more. `kept` is called once a power cut leaves it, or the journal cannot be written.
void RememberDecision(Program& program, WebServices& services, std::int16_t index, std::function<void()> kept);

// What a row calls the download of a selection. Folders are not counted, but one that is empty may have been chosen
// alone.
std::string TitleOfSelection(const Program& program, const Selection& selection);

// The record is of chosen files of an archive, and the journal, which alone knows that, has not got it on the disk yet.
bool LacksJournalLine(Program& program, const WebServices& services, int index);

// Login and hand-over of a record, as they were given with its add.
WebAdd AddOf(Program& program, const WebServices& services, std::int16_t index);

// Keeps the record's limit of speed, if the record is the web engine's.
void KeepSpeedLimit(Program& program, WebServices& services, std::int16_t index);

// True if the record lacked cookies or a page that a restart has lost: it has these now.
bool TakeHandOver(Program& program, WebServices& services, std::int16_t index, const HandOver& handOver);

// From now on the record is tried at this address: its next start takes it, if the file there is the one that has been
// begun.
void RememberAddress(Program& program, WebServices& services, std::int16_t index, const AddressReading& address);

// Keeps a record's place in the queue over restarts. A record that the web engine has not begun gets an entry for it
// that leaves open which engine does.
void RememberPlace(Program& program, WebServices& services, std::int16_t index);

// At the end of the program, which drops what Background has not begun: what is not in the journal yet, and
// the selections that it names, are written at once.
void FinishJournal(Program& program, WebServices& services);

// After the list was saved: what was listed and is not any more leaves the journal, and then its part file is deleted,
// in the background.
void SweepJournal(Program& program, WebServices& services);

}  // namespace pellora
