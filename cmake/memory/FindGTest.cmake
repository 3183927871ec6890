# GoogleTest from its sources, compiled with the options of this build.
if(TARGET nq_gtest)
  set(GTest_FOUND TRUE)
  return()
endif()
set(NQ_GTEST_SOURCE /usr/src/googletest/googletest CACHE PATH "Where GoogleTest's sources are")
add_library(nq_gtest STATIC ${NQ_GTEST_SOURCE}/src/gtest-all.cc
            ${CMAKE_CURRENT_LIST_DIR}/standard_library.cpp)
target_compile_options(nq_gtest PRIVATE -w)
target_include_directories(nq_gtest SYSTEM PUBLIC ${NQ_GTEST_SOURCE}/include
                           PRIVATE ${NQ_GTEST_SOURCE})
target_link_libraries(nq_gtest PUBLIC ${CMAKE_DL_LIBS})
add_library(nq_gtest_main STATIC ${NQ_GTEST_SOURCE}/src/gtest_main.cc)
target_compile_options(nq_gtest_main PRIVATE -w)
target_link_libraries(nq_gtest_main PUBLIC nq_gtest)
add_library(GTest::gtest ALIAS nq_gtest)
add_library(GTest::gtest_main ALIAS nq_gtest_main)
set(GTest_FOUND TRUE)
