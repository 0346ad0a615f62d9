#include "app/NewTransferWindow.h"

#include "core/EngineChoice.h"
#include "transfer/ClassicEngine.h"
#include "transferwin/TransferWindow.h"

namespace pellora {

namespace {

std::shared_ptr<Engine> NewEngine(Program& program, std::int16_t index) {
  if (ChooseEngine(program, index).engine == EngineName::Web) return program.newWebEngine(program);
  return std::make_shared<ClassicEngine>(program);
}

}  // namespace

std::shared_ptr<TransferWindow> NewTransferWindow(Program& program, std::int16_t index) {
  return std::make_shared<TransferWindow>(program, NewEngine(program, index));
}

}  // namespace pellora
