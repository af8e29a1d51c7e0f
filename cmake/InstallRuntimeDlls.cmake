# Install step: copies the DLLs of the compiler's runtime that a DLL needs, directly or through another
# of them, to its folder. What the compiler does not ship belongs to the system.
#
# Takes: library, destination, compiler, objdump.
cmake_policy(VERSION 3.25)

# Sets out to the names that the import table of file holds.
function(imported_dlls file out)
    execute_process(COMMAND ${objdump} -p ${file} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "DLL Name: [^\n\r]+" lines "${headers}")
    list(TRANSFORM lines REPLACE "DLL Name: " "")
    set(${out} ${lines} PARENT_SCOPE)
endfunction()

# Sets out to the path of the compiler's own DLL of this name, or to nothing. The compiler answers with
# the bare name for a file that it does not have.
function(runtime_dll name out)
    execute_process(COMMAND ${compiler} -print-file-name=${name} OUTPUT_VARIABLE path
        OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(IS_ABSOLUTE "${path}")
        file(REAL_PATH "${path}" path)
        set(${out} ${path} PARENT_SCOPE)
    else()
        set(${out} "" PARENT_SCOPE)
    endif()
endfunction()

set(pending "$ENV{DESTDIR}${library}")
set(found "")
while(pending)
    list(POP_FRONT pending file)
    imported_dlls(${file} names)
    foreach(name IN LISTS names)
        runtime_dll(${name} path)
        if(path AND NOT path IN_LIST found)
            list(APPEND found ${path})
            list(APPEND pending ${path})
        endif()
    endforeach()
endwhile()
if(found)
    file(INSTALL ${found} DESTINATION ${destination})
endif()
