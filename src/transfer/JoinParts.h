// JoinParts: the part files of one download become its output file.
//
// The copying is done outside of the event loop, a few mebibytes at a time, so that windows answer and other transfers
// go on meanwhile. Joins take turns, in the order in which they began: of two that write one file the second is whole,
// as if the first had never been.
//
// What happens in the middle of a join. Until it ends the record is Active, its segments are complete, and all that
// the list on the disk needs is still there: parts are deleted only after a list was saved that says "finished".
// - Pause (also "pause all"): the join stops; the record is paused, its window says so, and the parts stay. A resume
//   joins them again from the beginning, without a connection where the window is still there.
// - Cancel: a pause, and the window goes.
// - Delete and reset: the join stops, and the parts are deleted once the saved list no longer has the record.
// - "Yes" to adding the same URL again: the join stops; what is fetched anew takes the names of its parts.
// - Another download of the same file name gets part files of other names, and its join waits for this one.
// - Quit: a pause of all that runs, then the end. Pause, save and end come in one event.
// - Closing a window hides it, and the join goes on.
// - A failure: a pause with its reason on the window, which stays there until a resume.
// - A kill: the list has the record as active, and it comes back paused.
// A join that stops begins no other piece; the one that is under way (4 MiB at most) ends in the background, in
// an output file that nothing calls finished. That file stays, as long as it is: what it held before is not lost
// behind its new head, and the next join writes over it from the beginning.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/Record.h"
#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/Task.h"

namespace pellora {

// All that a join needs of a record, which may be another's by the time.
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

// Copies all parts to the output, and closes it. Stops behind the piece in progress once `goesOn` is false. Throws the
// Failure of the first file operation that failed. `open` is not to be touched meanwhile.
Task<> JoinParts(const Platform* platform, SharedJoinFiles open, JoinPlan plan, std::function<bool()> goesOn);

// Lets go of what a join had open, outside of the event loop.
void ReleaseJoinFiles(const Platform& platform, SharedJoinFiles open);

}  // namespace pellora
