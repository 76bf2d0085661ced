# Installs the build tree into a fresh prefix, builds tests/install/consumer against it and
# runs it. Arguments: -DBUILD=<build tree> -DSOURCE=<consumer folder> -DWORK=<scratch>
# -DFLAGS=<compiler flags the libraries need, e.g. the sanitizers>.
file(REMOVE_RECURSE ${WORK})
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
# The consumer finds the package by its prefix and takes its headers from there only.
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -DCMAKE_PREFIX_PATH=${WORK}/prefix
    "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${FLAGS}" -DCMAKE_BUILD_TYPE=Debug)
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/consumer)
if(NOT last_output STREQUAL "Привет aGk=\n")
  message(FATAL_ERROR "the consumer printed '${last_output}'")
endif()
message(STATUS "consumer built against ${WORK}/prefix and ran")
