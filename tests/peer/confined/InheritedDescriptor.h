// InheritedDescriptor: where the tests leave a file open that the process has no business with.
#pragma once

namespace pellora {

inline constexpr int kInheritedDescriptor = 99;

}  // namespace pellora
