// Planted: faults that the harness inserts between the program and the simulated machine, to see whether it finds them.
#pragma once

namespace pellora {

enum class Planted {
  None,
  ListAheadOfData,  // writes to part files reach the disk only after the next save of the list
  WrongOffset,      // sometimes a write to a part file is a byte too far
  LostByte,         // sometimes a block lacks its last byte
  LateBlock,        // a reconnected socket gets the last block of its previous connection again
  SocketLeftOpen,   // sometimes a close does nothing
  ProbeLeftOpen,    // nor does that of a connection on which a whole file was asked for
  // Of the web engine:
  EarlyFlush,      // a flush of a part file ends at once; what was written since the one before is not flushed
  UncheckedRange,  // an answer says that it is the range that was asked for, whatever it is
  PartLeft,        // a part file is not deleted
  LateJournal,     // the journal gets the line that names the new name only after the rename
  FetchLeftOpen,   // sometimes a request goes on when it was dropped
};

}  // namespace pellora
