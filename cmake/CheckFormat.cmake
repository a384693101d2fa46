# Fails when a C++ source differs from what the repo's .clang-format makes of it.
find_program(CLANG_FORMAT NAMES clang-format clang-format-14 REQUIRED)
set(dirs platform host corvane sim apps tests bench)
set(globs)
foreach(d ${dirs})
  list(APPEND globs ${ROOT}/${d}/*.cpp ${ROOT}/${d}/*.h)
endforeach()
file(GLOB_RECURSE files ${globs})
execute_process(COMMAND ${CLANG_FORMAT} --dry-run -Werror --style=file ${files}
                WORKING_DIRECTORY ${ROOT} RESULT_VARIABLE rc ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "Sources not formatted (run clang-format -i on them):\n${out}")
endif()
