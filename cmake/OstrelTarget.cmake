# ostrel_target(<target>): how everything that this project builds is compiled.
#
# Our warnings (presets turn them into errors), the sanitizers of OSTREL_SANITIZE, and the counters
# of OSTREL_COVERAGE.
function(ostrel_target target)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
  if(OSTREL_SANITIZE)
    set(flags -fsanitize=${OSTREL_SANITIZE} -fno-omit-frame-pointer)
    if(OSTREL_SANITIZE MATCHES "undefined")
      list(APPEND flags -fno-sanitize-recover=undefined)
    endif()
    target_compile_options(${target} PRIVATE ${flags})
    target_link_options(${target} PRIVATE ${flags})
  endif()
  if(OSTREL_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    target_link_options(${target} PRIVATE --coverage)
  endif()
endfunction()
