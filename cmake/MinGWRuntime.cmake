# The libraries of the compiler that trelis.dll and every program that uses it need. They are shared by
# all of them, as exceptions are that cross the border; so they lie beside the programs, and the
# folder runs on any machine.
foreach(name libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll)
    execute_process(
        COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
        OUTPUT_VARIABLE library
        OUTPUT_STRIP_TRAILING_WHITESPACE)
    configure_file(${library} ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name} COPYONLY)
    install(FILES ${library} DESTINATION ${CMAKE_INSTALL_BINDIR})
endforeach()
