# Warning set applied to every target of the project (not to consumers).
function(tlvutl_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic
                         $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>
                         $<$<BOOL:${TLVUTL_WERROR}>:-Werror>)
endfunction()
