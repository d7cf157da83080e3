# Installs the freshly built package into a scratch prefix, then configures, builds and runs
# a consumer that only knows find_package(WNPack).
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run_step)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "step failed (${rc}): ${ARGN}\n${out}\n${err}")
    endif()
endfunction()

run_step(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
run_step(${CMAKE_COMMAND} -S "${CONSUMER_SOURCE}" -B "${WORK_DIR}/build" -G Ninja
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Debug)
run_step(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
set(ENV{LD_LIBRARY_PATH} "${prefix}/lib:${prefix}/lib/x86_64-linux-gnu:$ENV{LD_LIBRARY_PATH}")
run_step("${WORK_DIR}/build/app")
