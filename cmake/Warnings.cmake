# Warnings as errors everywhere; hardening in optimised builds.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough
                    -Wold-style-cast -Wcast-align -Wformat=2 -Werror)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  add_compile_options(-D_FORTIFY_SOURCE=2 -fstack-protector-strong -D_GLIBCXX_ASSERTIONS)
  add_link_options(-Wl,-z,relro,-z,now)
endif()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# g++ 12 sees overlapping copies in std::string's operator+ that are not there (GCC bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  add_compile_options(-Wno-restrict)
endif()
