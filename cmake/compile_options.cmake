# Options that hold for every target of the project.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
include_directories(${PROJECT_SOURCE_DIR})

# Several targets, and several build folders, compile the same sources in the same way.
find_program(NQ_CCACHE ccache)
if(NQ_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${NQ_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${NQ_CCACHE})
endif()

# Off where another build has it on: the tests take three times as long to compile with it, and
# without it they are the objects of the build that has no sanitizer.
option(NQ_SANITIZE_TESTS "Let the sanitizers see the tests themselves, too" ON)

if(NQ_SANITIZE)
  set(NQ_SANITIZE_OPTIONS -fsanitize=${NQ_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${NQ_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # An operation word may be called with more arguments than its function takes.
    list(APPEND NQ_SANITIZE_OPTIONS -fno-sanitize=function)
  endif()
  if(NQ_SANITIZE_TESTS)
    add_compile_options(${NQ_SANITIZE_OPTIONS})
  else()
    function(nq_sanitize_all_but_tests)
      foreach(target nq_objects nqstandalone nqtyped nq_options nqtool nq_test_support)
        target_compile_options(${target} PRIVATE -O1 -g1 ${NQ_SANITIZE_OPTIONS})
      endforeach()
    endfunction()
    cmake_language(DEFER CALL nq_sanitize_all_but_tests)
  endif()
  if(NQ_SANITIZE STREQUAL "memory")
    include(${CMAKE_CURRENT_LIST_DIR}/memory/memory.cmake)
  endif()
endif()

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
    foreach(target nq_objects nqstandalone nqtyped nq_options nqtool)
      target_compile_options(${target} PRIVATE -O0 --coverage -fprofile-update=prefer-atomic)
    endforeach()
  endfunction()
  cmake_language(DEFER CALL nq_count_lines)
  add_link_options(--coverage)
endif()
