# What breaks the library, the virtual switch and the tool, if anything does.

# Optimising, g++ 12 sees overlaps and overflows in the string's operator+ that are not there.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  target_compile_options(library_tests PRIVATE -Wno-restrict -Wno-stringop-overflow -Wno-array-bounds)
endif()

# The thread sanitizer goes with no other one, so the library is compiled once more for it.
if(ZELBOARD_SANITIZE)
  list(TRANSFORM ZELBOARD_SOURCES PREPEND ${PROJECT_SOURCE_DIR}/ OUTPUT_VARIABLE sources)
  add_executable(threads_test threads_test.cpp ${sources})
  target_include_directories(threads_test PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
  target_compile_options(threads_test PRIVATE -fno-sanitize=all -fsanitize=thread -O1)
  target_link_options(threads_test PRIVATE -fno-sanitize=all -fsanitize=thread)
  if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    target_link_options(threads_test PRIVATE -static-libsan)
  endif()
  add_test(NAME threads COMMAND zelsim run --fast --board threads -- $<TARGET_FILE:threads_test>)
  set_tests_properties(threads PROPERTIES ENVIRONMENT ZELSIM_HOME=${CMAKE_CURRENT_BINARY_DIR}/boards)
endif()

add_test(NAME soak COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/soak_test.py ${ZELBOARD_PLAIN_BUILD})
