# Installs the library from BUILD_DIR, then builds and runs a small host project against it,
# once through find_package and once through add_subdirectory.
file(REMOVE_RECURSE ${WORK_DIR})
set(common_args -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS}" "-DCMAKE_SHARED_LINKER_FLAGS=${LINKER_FLAGS}")

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed (${result}): ${ARGN}")
    endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/install)

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer/project -B ${WORK_DIR}/installed ${common_args}
    -DCMAKE_PREFIX_PATH=${WORK_DIR}/install)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/installed)
run(${WORK_DIR}/installed/consumer)

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer/project -B ${WORK_DIR}/subdirectory ${common_args}
    -DCOMMONTARN_SOURCE_DIR=${SOURCE_DIR})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/subdirectory)
run(${WORK_DIR}/subdirectory/consumer)
