# Writes the resource script of a string table (resources/strings/<lang>.txt) for the
# Windows resource compiler: cmake -DINPUT=<txt> -DOUTPUT=<rc> -P StringTableRc.cmake
#
# Input lines: decimal id, a tab, the text (escapes \n, \t, \\); '#' starts a comment line.
# The text stays UTF-8 (the script says so with its code page); the compiler turns it into
# the module's UTF-16 table. Duplicate or malformed ids fail the build, as rcgen does.
# CMake lists split at ';' and let brackets group: both are stood in for while the lines are
# handled as a list, and put back in the text written.
file(READ "${INPUT}" content)
string(REPLACE ";" "@SEMI@" content "${content}")
string(REPLACE "[" "@OPEN@" content "${content}")
string(REPLACE "]" "@CLOSE@" content "${content}")
string(REPLACE "\n" ";" lines "${content}")
set(seen "")
set(body "")
set(line_no 0)
foreach(line IN LISTS lines)
  math(EXPR line_no "${line_no} + 1")
  string(REGEX REPLACE "\r$" "" line "${line}")
  if(line STREQUAL "" OR line MATCHES "^#")
    continue()
  endif()
  if(NOT line MATCHES "^([0-9]+)\t(.*)$")
    message(FATAL_ERROR "${INPUT}: expected ID<TAB>TEXT in: ${line}")
  endif()
  set(id ${CMAKE_MATCH_1})
  set(text "${CMAKE_MATCH_2}")
  if(id GREATER 65535)
    message(FATAL_ERROR "${INPUT}: id ${id} does not fit a string table")
  endif()
  if(";${seen};" MATCHES ";${id};")
    message(FATAL_ERROR "${INPUT}: id ${id} defined twice")
  endif()
  list(APPEND seen ${id})
  if(text MATCHES "\\\\[^nt\\\\]" OR text MATCHES "\\\\$")
    message(FATAL_ERROR "${INPUT}: unknown escape in string ${id}")
  endif()
  # The escapes are the resource compiler's too; a quote is doubled there.
  string(REPLACE "\"" "\"\"" text "${text}")
  string(REPLACE "@SEMI@" ";" text "${text}")
  string(REPLACE "@OPEN@" "[" text "${text}")
  string(REPLACE "@CLOSE@" "]" text "${text}")
  string(APPEND body "  ${id}, \"${text}\"\n")
endforeach()
file(WRITE "${OUTPUT}.tmp" "// Generated from ${INPUT}; do not edit.\n#pragma code_page(65001)\nSTRINGTABLE\nBEGIN\n${body}END\n")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
