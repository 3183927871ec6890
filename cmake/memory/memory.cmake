# The memory sanitizer reports what code that it does not know has written as never written. So
# GoogleTest is built here, from the sources that its package brings, the templates of the C++
# library are compiled into each program, and what is left of that library is told about. Where a
# value comes from is said with -fsanitize-memory-track-origins, which takes longer.
list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})
add_compile_options(
  $<$<COMPILE_LANGUAGE:CXX>:SHELL:-include\ ${CMAKE_CURRENT_LIST_DIR}/templates.hpp>)
