# Fails when the library exports a name that is the package's own business: the socket unit's
# model layer (winsock, native, async, its notification window) or a helper in an anonymous
# namespace. Run with -DLIBRARY=<path of the shared library>.
find_program(NM_PROGRAM nm)
if(NOT NM_PROGRAM)
    message("nm not found: the exported names cannot be checked")
    return()
endif()
execute_process(COMMAND ${NM_PROGRAM} -DC --defined-only ${LIBRARY}
    OUTPUT_VARIABLE symbols RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REGEX MATCHALL "[^\n]*(winsock|wn::native::|wn::async::|TSocketWindow|\\(anonymous namespace\\))[^\n]*"
    private "${symbols}")
if(private)
    list(JOIN private "\n" lines)
    message(FATAL_ERROR "private names exported:\n${lines}")
endif()
