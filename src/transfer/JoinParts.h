// JoinParts: copies the part files of one download into its output file.
//
// The copying runs outside of the event loop, a few mebibytes at a time, so that windows answer and other transfers
// continue. Joins take turns in the order in which they began: if two write one file, the second one's bytes are whole.
//
// What can happen during a join. Until it ends the record is Active with all segments complete, and no part is deleted
// before a list that says "finished" is saved.
// - Pause (also "pause all"): the join stops; the record is paused, its window says so, and the parts stay. A resume
//   joins them again from the beginning; it connects to no server while the window exists.
// - Cancel: a pause, and the window goes.
// - Delete and reset: the join stops, and the parts are deleted once the saved list no longer has the record.
// - "Yes" to adding the same URL again: the join stops; the new download reuses the names of its parts.
// - Another download of the same file name gets other part files, and its join waits for this one.
// - Quit: everything active is paused, the list is saved, and the program ends, all in one event.
// - Closing a window hides it, and the join continues.
// - A failure: a pause whose reason the window shows until a resume.
// - A kill: the saved list has the record as active, so that it is loaded as paused.
// A join that stops begins no further piece. The piece in progress (4 MiB at most) ends in the background, in an output
// file that nothing calls finished. That file stays with its length; the next join overwrites it from the beginning.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "async/Task.h"
#include "core/Record.h"
#include "ports/Files.h"
#include "ports/Platform.h"

namespace pellora {

// What a join needs of a record. A copy: the slot may get another owner meanwhile.
struct JoinPlan {
  struct Part {
    std::string path;
    std::uint64_t size = 0;  // of it, from its first byte
  };
  std::string output;
  std::vector<Part> parts;  // in the file's order
};

// The complete segments of `record`; those of 0 bytes add nothing.
JoinPlan PlanJoin(const DownloadRecord& record);

// What a join has open. The parts stay open until their names are deleted: freeing a large file's bytes takes as long
// as writing them, and comes with the release of the last that has it open.
struct JoinFiles {
  std::shared_ptr<File> output;  // null once it is closed
  std::vector<std::shared_ptr<File>> parts;
};
using SharedJoinFiles = std::shared_ptr<JoinFiles>;

// Copies all parts to the output, and closes it. Begins no further piece once `current` is false. Throws the Failure of
// the first file operation that failed. The caller leaves `open` alone until then.
Task<> JoinParts(const Platform* platform, SharedJoinFiles open, JoinPlan plan, std::function<bool()> current);

// Closes what a join had open, outside of the event loop.
void ReleaseJoinFiles(const Platform& platform, SharedJoinFiles open);

}  // namespace pellora
