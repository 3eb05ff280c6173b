# What every target of this project is compiled with. Linked privately and never exported.
add_library(arvo_compile_settings INTERFACE)
target_compile_features(arvo_compile_settings INTERFACE cxx_std_20)
target_compile_options(arvo_compile_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion
  $<$<BOOL:${ARVO_WARNINGS_AS_ERRORS}>:-Werror>
  $<$<CXX_COMPILER_ID:Clang>:-Wno-unknown-pragmas> # it does not know GCC's ivdep
  # Results are the same bits on every instruction set: no fused multiply-add.
  -ffp-contract=off
  # Neither flag changes a result: nobody reads errno or the floating-point exception flags, and without
  # them square roots and comparisons vectorise.
  -fno-math-errno -fno-trapping-math)
target_compile_definitions(arvo_compile_settings INTERFACE
  QT_NO_KEYWORDS
  $<$<BOOL:${ARVO_BASELINE_ONLY}>:ARVO_BASELINE_ONLY>)
if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_CXX_EXTENSIONS OFF)
endif()
