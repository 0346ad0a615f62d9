#include "SimFaults.h"

namespace pellora {

SimTorturer* SimTorturer::present = nullptr;

}  // namespace pellora
