// Spoken: what assistive technology gets of the widgets that Qt knows nothing about.
#pragma once

namespace pellora {

// For all widgets that are described from now on. Repeated calls have no effect.
void DescribeWidgets();

}  // namespace pellora
