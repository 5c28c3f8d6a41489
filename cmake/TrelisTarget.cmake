# Applies to a target of this project what they all share; nothing of it reaches a consumer.
# No contraction and no fast-math: every compiler and processor computes the same bits.
function(trelis_configure_target target)
    set_target_properties(${target} PROPERTIES
        CXX_STANDARD 20
        CXX_STANDARD_REQUIRED ON
        CXX_EXTENSIONS OFF)

    if(MSVC)
        target_compile_options(${target} PRIVATE /W4 /permissive- /utf-8 /fp:precise)
        if(TRELIS_WARNINGS_AS_ERRORS)
            target_compile_options(${target} PRIVATE /WX)
        endif()
        return()
    endif()

    target_compile_options(${target} PRIVATE
        -ffp-contract=off
        -Wall -Wextra -Wpedantic
        -Wconversion -Wdouble-promotion -Wextra-semi -Wnon-virtual-dtor -Wold-style-cast
        -Woverloaded-virtual -Wshadow -Wsign-conversion)
    if(TRELIS_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    if(TRELIS_SANITIZE)
        set(flags -fsanitize=${TRELIS_SANITIZE} -fno-sanitize-recover=all)
        target_compile_options(${target} PRIVATE ${flags} -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE ${flags})
        # g++ has no macro of its own for the undefined-behaviour sanitizer.
        target_compile_definitions(${target} PRIVATE TRELIS_SANITIZED)
    endif()
    if(TRELIS_COVERAGE)
        target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
        target_link_options(${target} PRIVATE --coverage)
    endif()
endfunction()

# The folders directly below this one that hold a source whose name matches the pattern.
function(trelis_folders_with pattern result)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} ${pattern})
    list(FILTER sources INCLUDE REGEX "/")
    list(TRANSFORM sources REPLACE "/.*" "")
    list(REMOVE_DUPLICATES sources)
    set(${result} ${sources} PARENT_SCOPE)
endfunction()
