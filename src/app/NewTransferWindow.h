// NewTransferWindow: the transfer object of a download, a window over the engine that fetches it. Which download it is
// comes later, by SetRecordIndex.
#pragma once

#include <memory>

namespace pellora {

class Program;
class TransferWindow;

std::shared_ptr<TransferWindow> NewTransferWindow(Program& program);

}  // namespace pellora
