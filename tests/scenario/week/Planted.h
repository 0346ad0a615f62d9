// Planted: faults of the program that the harness puts between it and the simulated machine, to see whether
// the harness finds them. The program itself carries none of this.
#pragma once

namespace pellora {

enum class Planted {
  None,
  ListAheadOfData,  // what goes to part files reaches the disk only behind the next save of the list
  WrongOffset,      // a write to a part file lands a byte too far, now and then
  LostByte,         // a block comes without its last byte, now and then
  LateBlock,        // a socket that connects again gets the last block of its former connection once more
  SocketLeftOpen,   // a close does nothing, now and then
  ProbeLeftOpen,    // nor does that of a connection on which a whole file was asked for
};

}  // namespace pellora
