# Fails unless every function of ZeroMQ that LIBRARY takes from the process is one that PROGRAM
# defines, so that no call can slip past the tests that watch them.

cmake_minimum_required(VERSION 3.25)

function(symbols variable kind file)
  execute_process(
    COMMAND ${NM} -D ${kind} --format=posix ${file}
    OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "(^|\n)zmq_[a-z_]+" found "${output}")
  list(TRANSFORM found STRIP)
  set(${variable} ${found} PARENT_SCOPE)
endfunction()

symbols(called --undefined-only ${LIBRARY})
symbols(watched --defined-only ${PROGRAM})
if(NOT "zmq_msg_send" IN_LIST called OR NOT "zmq_msg_send" IN_LIST watched)
  message(FATAL_ERROR "The functions were not found: ${called}; ${watched}")
endif()
list(REMOVE_ITEM called ${watched})
if(called)
  message(FATAL_ERROR "Not watched: ${called}")
endif()
