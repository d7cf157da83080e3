# Installs the freshly built package into a scratch prefix and runs the installed wnpack; then
# configures, builds and runs a consumer that only knows find_package(WNPack), builds it again
# from pkg-config's flags, and configures the package as a host project does (no tests, no
# benchmarks, neither GoogleTest nor Google Benchmark).
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
# The installed program finds the installed library by itself.
if(EXISTS "${prefix}/bin/wnpack")
    run_step("${prefix}/bin/wnpack" --version)
endif()
run_step(${CMAKE_COMMAND} -S "${CONSUMER_SOURCE}" -B "${WORK_DIR}/build" -G Ninja
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Debug)
run_step(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
set(ENV{LD_LIBRARY_PATH} "${prefix}/lib:${prefix}/lib/x86_64-linux-gnu:$ENV{LD_LIBRARY_PATH}")
run_step("${WORK_DIR}/build/app")

# The same program built with what pkg-config says about the package.
file(GLOB_RECURSE pc_files "${prefix}/wnpack.pc")
list(GET pc_files 0 pc_file)
get_filename_component(pc_dir "${pc_file}" DIRECTORY)
run_step(sh -c "c++ -std=c++20 -fPIC '${CONSUMER_SOURCE}/app.cpp' -o '${WORK_DIR}/app_pc' \
    $(PKG_CONFIG_PATH='${pc_dir}' pkg-config --cflags --libs wnpack) && '${WORK_DIR}/app_pc'")

# A host project configures the package without GoogleTest or Google Benchmark.
run_step(${CMAKE_COMMAND} -S "${PROJECT_SOURCE}" -B "${WORK_DIR}/host" -G Ninja
    -DWN_BUILD_TESTS=OFF -DWN_BUILD_BENCH=OFF
    -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON)
