#include "DigestContract.h"
#include "SimDigests.h"

namespace pellora {
namespace {

INSTANTIATE_TEST_SUITE_P(Sim, DigestContract,
                         testing::Values(DigestsMaker{"the simulator", [] { return std::make_unique<SimDigests>(); }}));

TEST(SimDigests, ForbiddenKindIsNotComputed) {
  SimDigests digests;
  digests.forbidden = {DigestKind::Md5};
  EXPECT_EQ(digests.Begin(DigestKind::Md5), nullptr);
  EXPECT_NE(digests.Begin(DigestKind::Sha1), nullptr);
}

}  // namespace
}  // namespace pellora
