#include "SimUnpacker.h"
#include "UnpackerContract.h"

namespace pellora {
namespace {

INSTANTIATE_TEST_SUITE_P(Sim, UnpackerContract, testing::Values(UnpackerMaker{"the simulator", [] {
                                                                                return std::make_unique<SimUnpacker>();
                                                                              }}));

}  // namespace
}  // namespace pellora
