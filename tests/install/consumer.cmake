# Installs BUILD into a fresh prefix, moves the prefix, and builds and runs the project in stranger/
# against it: by find_package, and by pkg-config.
cmake_minimum_required(VERSION 3.25)

# run(<what it is> <command>...): prints the output of a command that fails, and keeps it in `output`.
function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} ended with ${status}\n${out}${err}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

# expect_stranger(<program> [environment]...): runs the stranger's program and compares what it prints.
function(expect_stranger program)
  run("the stranger's program" ${CMAKE_COMMAND} -E env ${ARGN} ${program})
  file(READ ${CMAKE_CURRENT_LIST_DIR}/stranger/expected.txt expected)
  if(NOT output STREQUAL expected)
    message(FATAL_ERROR "${program} printed\n${output}and was to print\n${expected}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
run("the installation" ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/first)
file(RENAME ${WORK}/first ${WORK}/prefix)  # nothing in a prefix may name its own place
set(prefix ${WORK}/prefix)

file(GLOB expected RELATIVE ${SOURCE}/base/utilities/basutil/i ${SOURCE}/base/utilities/basutil/i/*.h)
file(GLOB installed RELATIVE ${prefix}/include/ketriope ${prefix}/include/ketriope/*)
if(NOT installed STREQUAL expected)
  message(FATAL_ERROR "installed headers: ${installed}\npublic headers: ${expected}")
endif()
foreach(file bin/ketriope ${LIBDIR}/libketriope.so ${LIBDIR}/pkgconfig/ketriope.pc
    ${LIBDIR}/cmake/ketriope/ketriopeConfig.cmake ${LIBDIR}/cmake/ketriope/ketriopeConfigVersion.cmake
    msgdata/msgindex.xml msgdata/common.xml msgdata/framework.xml data/orvsys.ini data/ketriope.usg)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "${file} is not installed")
  endif()
endforeach()

set(stranger ${CMAKE_CURRENT_LIST_DIR}/stranger)
run("configuring the stranger's project" ${CMAKE_COMMAND} -S ${stranger} -B ${WORK}/by-cmake -G ${GENERATOR}
  -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_PREFIX_PATH=${prefix})
run("building the stranger's project" ${CMAKE_COMMAND} --build ${WORK}/by-cmake)
expect_stranger(${WORK}/by-cmake/stranger)

run("pkg-config" ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/${LIBDIR}/pkgconfig
  ${PKG_CONFIG} --cflags --libs ketriope)
separate_arguments(flags UNIX_COMMAND "${output}")
run("compiling by pkg-config" ${COMPILER} -std=c++17 -Wall -Wextra -Wpedantic -Werror
  ${stranger}/stranger.cpp -o ${WORK}/by-pkg-config ${flags})
expect_stranger(${WORK}/by-pkg-config LD_LIBRARY_PATH=${prefix}/${LIBDIR})

run("the installed tool" ${prefix}/bin/ketriope info ${stranger}/stranger.cpp)
run("the installed catalogue" ${CMAKE_COMMAND} -E env --unset=FOUNDRY --unset=ENV
  ${prefix}/bin/ketriope explain 1009990)
