# Options that hold for every target of the project.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
include_directories(${PROJECT_SOURCE_DIR})

if(NQ_SANITIZE)
  add_compile_options(-fsanitize=${NQ_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${NQ_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # An operation word may be called with more arguments than its function takes.
    add_compile_options(-fno-sanitize=function)
  endif()
endif()
