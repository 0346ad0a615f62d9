// NewTransferWindow: the transfer object of a download, a window over the engine that ChooseEngine names.
#pragma once

#include <cstdint>
#include <memory>

namespace pellora {

class Program;
class TransferWindow;

std::shared_ptr<TransferWindow> NewTransferWindow(Program& program, std::int16_t index);

}  // namespace pellora
