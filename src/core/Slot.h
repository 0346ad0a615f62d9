// Slot: the place of one transfer among the program's, and the record that belongs to it.
//
// A place may be filled anew, deleted, cleared or reset while a transfer waits. Held says whether the record is still
// the transfer's; if it is not, the transfer ends and writes nothing more.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "core/Program.h"

namespace pellora {

class Slot {
 public:
  Slot() = default;
  Slot(Program& program, std::int16_t index, std::weak_ptr<Transfer> owner)
      : program_(&program), owner_(std::move(owner)), serial_(program.Serial(index)), index_(index) {}

  std::int16_t Index() const { return index_; }
  DownloadRecord& Record() const { return program_->Download(index_); }

  // The record has not changed hands. The place itself may be empty, while a transfer that was taken out of it ends.
  bool Held() const {
    if (program_ == nullptr || !program_->Holds(index_, serial_)) return false;
    const std::shared_ptr<Transfer>& holder = program_->TransferWindowAt(index_);
    return holder == nullptr || IsOwner(holder);
  }

  // Empties the place, unless it holds another transfer.
  void Empty() const {
    std::shared_ptr<Transfer>& holder = program_->TransferWindowAt(index_);
    if (IsOwner(holder)) holder.reset();
  }

 private:
  // Right for an owner that has been destroyed too, at whose address there may be another.
  bool IsOwner(const std::shared_ptr<Transfer>& holder) const {
    return !holder.owner_before(owner_) && !owner_.owner_before(holder);
  }

  Program* program_ = nullptr;
  std::weak_ptr<Transfer> owner_;
  std::uint32_t serial_ = 0;
  std::int16_t index_ = 0;
};

}  // namespace pellora
