# What all targets have in common.

add_library(ravelin_rules INTERFACE)
target_compile_options(ravelin_rules INTERFACE -Wall -Wextra -Wshadow -Wconversion -Wnon-virtual-dtor)
target_compile_definitions(ravelin_rules INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH)
# The daemon reads what strangers send. A package build brings these flags itself, and has no build type.
if(NOT RAVELIN_SANITIZE AND CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
    add_compile_options(-fstack-protector-strong -D_FORTIFY_SOURCE=2)
    add_link_options(-Wl,-z,relro,-z,now)
endif()
if(RAVELIN_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
if(RAVELIN_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# ravelin_library(NAME SOURCES ... LINKS ...): the static library of the current folder. It exports its own folder alone, so
# an include of a folder that LINKS does not name is not found.
function(ravelin_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINKS")
    add_library(${name} STATIC ${arg_SOURCES})
    target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${arg_LINKS} PRIVATE ravelin_rules)
endfunction()

# ravelin_program(NAME SOURCES ... LINKS ...)
function(ravelin_program name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINKS")
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE ${arg_LINKS} ravelin_rules)
endfunction()
