# Warnings as errors everywhere; hardening in optimised builds.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough
                    -Wold-style-cast -Wcast-align -Wformat=2 -Werror)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  # scripts/hardening.py checks the built files for these. Debian 12's C runtime is not marked for control-flow
  # enforcement, so no executable is: -fcf-protection protects only the program's own code.
  include(CheckPIESupported)
  check_pie_supported()
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -D_GLIBCXX_ASSERTIONS -fstack-protector-strong
                      -fstack-clash-protection -fcf-protection=full)
  add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
endif()
# g++ 12 warns wrongly about overlapping copies in std::string's operator+ (GCC bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  add_compile_options(-Wno-restrict)
endif()
