# How every target of this project is compiled: language level, warnings, sanitizers, coverage.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

add_library(ketriope_build INTERFACE)
target_compile_options(ketriope_build INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wold-style-cast -Wformat=2
  $<$<BOOL:${KETRIOPE_WERROR}>:-Werror>)
# At -O3 g++ 12 sees overlapping copies in "text" + std::string, where there are none.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(ketriope_build INTERFACE -Wno-restrict)
endif()

# Spelled for the whole tree, since every object of one program must agree on it.
if(KETRIOPE_SANITIZE)
  add_compile_options(-fsanitize=${KETRIOPE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KETRIOPE_SANITIZE})
endif()
if(KETRIOPE_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()
