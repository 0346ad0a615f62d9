#include "app/NewTransferWindow.h"

#include "transfer/ClassicEngine.h"
#include "transferwin/TransferWindow.h"

namespace pellora {

std::shared_ptr<TransferWindow> NewTransferWindow(Program& program) {
  return std::make_shared<TransferWindow>(program, std::make_shared<ClassicEngine>(program));
}

}  // namespace pellora
