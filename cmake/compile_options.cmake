# Options that hold for every target of the project.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
include_directories(${PROJECT_SOURCE_DIR})

# Several targets, and several build folders, compile the same sources in the same way.
find_program(NQ_CCACHE ccache)
if(NQ_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${NQ_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${NQ_CCACHE})
endif()

if(NQ_SANITIZE)
  add_compile_options(-fsanitize=${NQ_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${NQ_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # An operation word may be called with more arguments than its function takes.
    add_compile_options(-fno-sanitize=function)
  endif()
  if(NQ_SANITIZE STREQUAL "memory")
    include(${CMAKE_CURRENT_LIST_DIR}/memory/memory.cmake)
  endif()
endif()

# Off where another build has it on: with g++ the tests take three times as long to compile with it.
option(NQ_SANITIZE_TESTS "Let the sanitizers see the tests themselves, too" ON)

# What the library's own code keeps and other code need not: no sum wraps and no value is cut off
# unless the source says so. Only shifting bits out of an unsigned value says so by itself.
set(NQ_SANITIZE_LIBRARY "" CACHE STRING "Sanitizers for the library's objects alone")
if(NQ_SANITIZE_LIBRARY)
  set(NQ_LIBRARY_OPTIONS -fsanitize=${NQ_SANITIZE_LIBRARY} -fno-sanitize=unsigned-shift-base
    -fno-sanitize-recover=all -fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/sanitize_ignore.txt)
endif()

# Counts what runs of the library, the host and the tool. The tests stay as fast as they are.
option(NQ_COVERAGE "Count which lines run" OFF)
if(NQ_COVERAGE)
  function(nq_count_lines)
    foreach(target nq_objects nqstandalone nq_options nqtool)
      target_compile_options(${target} PRIVATE -O0 --coverage -fprofile-update=prefer-atomic)
    endforeach()
  endfunction()
  cmake_language(DEFER CALL nq_count_lines)
  add_link_options(--coverage)
endif()
