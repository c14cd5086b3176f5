# Warnings are errors in all of our own code.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wcast-align
                    -Wformat=2 -Wimplicit-fallthrough -Werror)
# GCC 12 at -O3 (Release) reports overlapping copies inside libstdc++ for "text" +
# std::string, which cannot overlap (a known false positive of that version).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  add_compile_options($<$<CONFIG:Release>:-Wno-restrict>)
endif()

if(VITRELLA_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(VITRELLA_FUZZ)
  # Coverage for libFuzzer in all the code the fuzz targets link; they add the driver.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(VITRELLA_TSAN)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()

# Pixel kernels: without the first two GCC leaves loops that clamp floats or take square
# roots scalar. No fused multiply-adds behind our back: the plain loops and the vector
# code must give the same floats to the last bit. Never -ffast-math: results must not
# depend on the optimiser.
set(VITRELLA_KERNEL_FLAGS -fno-trapping-math -fno-math-errno -ffp-contract=off)
