# Options of our own targets; nothing here reaches whoever links the library.
include_guard()

function(kelvane_compile_options target)
  # Same input, same bits, on every processor: no fused operations behind our back.
  # Nobody reads errno after a root, and the call that would set it costs the registers around it.
  target_compile_options(${target} PRIVATE -ffp-contract=off -fno-math-errno -fno-semantic-interposition)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
                                           -Wold-style-cast -Wnon-virtual-dtor -Wformat=2)
  if(KELVANE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(KELVANE_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${KELVANE_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all -DKELVANE_SANITIZED)
    target_link_options(${target} PRIVATE -fsanitize=${KELVANE_SANITIZE})
  elseif(NOT KELVANE_BUILD_FUZZERS)
    # What sanitizers and fuzzers call is defined in the programs.
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()

# Compiles a target's sources several at a time, which reads headers seldom. Where unnamed namespaces share a name, the
# SOURCES that follow are compiled alone.
function(kelvane_compile_together target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
  set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  # GCC takes a source that is included for a header.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endfunction()

# The code that a fuzzer watches. Only marks are set in it: it stays what tests and program can be linked with.
function(kelvane_fuzzing_options target)
  if(KELVANE_BUILD_FUZZERS)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
endfunction()
