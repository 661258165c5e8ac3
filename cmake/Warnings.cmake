# Warning set applied to every target of the project (not to consumers).
function(tlvutl_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow=local
                         $<$<BOOL:${TLVUTL_WERROR}>:-Werror>)
endfunction()
