// InheritedDescriptor: where the tests leave a file open that the preview process must not reach.
#pragma once

namespace pellora {

inline constexpr int kInheritedDescriptor = 99;

}  // namespace pellora
