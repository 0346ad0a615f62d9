#include "DigestContract.h"
#include "desktop/OpenSslDigests.h"

namespace pellora {
namespace {

INSTANTIATE_TEST_SUITE_P(OpenSsl, DigestContract,
                         testing::Values(DigestsMaker{"OpenSSL", [] { return std::make_unique<OpenSslDigests>(); }}));

}  // namespace
}  // namespace pellora
