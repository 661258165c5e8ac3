# The layering check refuses each kind of back edge and accepts the tree as it is.
#   cmake -DSOURCE_DIR=<repo> -DWORK=<scratch folder> -P layering_test.cmake
set(check ${SOURCE_DIR}/cmake/CheckLayers.cmake)

function(run_check src expect_ok what)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -DSOURCE_DIR=${src} -DINCLUDE_DIR=${WORK}/include
            -DSTAMP=${WORK}/stamp -P ${check}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(expect_ok AND NOT rc EQUAL 0)
    message(FATAL_ERROR "${what}: refused\n${err}")
  elseif(NOT expect_ok AND rc EQUAL 0)
    message(FATAL_ERROR "${what}: accepted")
  endif()
  if(NOT expect_ok AND NOT err MATCHES "layering broken")
    message(FATAL_ERROR "${what}: failed for another reason\n${err}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
file(COPY ${SOURCE_DIR}/src/ DESTINATION ${WORK}/src)
file(COPY ${SOURCE_DIR}/include/tlvutl/ DESTINATION ${WORK}/include)
run_check(${WORK}/src TRUE "the tree as it is")

set(victim ${WORK}/src/frame/messages.cpp)
file(READ ${victim} original)
foreach(line "#include <tlvutl/folders.h>" "#include \"environment/folder_roots.h\""
             "#include \"../environment/folder_roots.h\"" "#include <tlvutl/no_layer.h>")
  file(WRITE ${victim} "${original}\n${line}\n")
  run_check(${WORK}/src FALSE "${line} in the frame layer")
endforeach()
file(WRITE ${victim} "${original}")

# A public header of a low layer that includes one of a higher layer.
file(READ ${WORK}/include/cstring.h header)
file(WRITE ${WORK}/include/cstring.h "${header}\n#include <tlvutl/xml.h>\n")
run_check(${WORK}/src FALSE "core's cstring.h including xml.h")
