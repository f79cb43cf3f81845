# Manual pages and completions. Those of a program are made from what it says with --help.
include_guard()
if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    message(STATUS "No manual pages and completions: the programs that they are made from do not run here")
    return()
endif()
find_package(Python3 COMPONENTS Interpreter REQUIRED)
set(help_folder ${PROJECT_SOURCE_DIR}/packaging/help)
set(page_folder ${PROJECT_BINARY_DIR}/pages)
file(MAKE_DIRECTORY ${page_folder})
file(GLOB help_scripts CONFIGURE_DEPENDS ${help_folder}/*.py ${help_folder}/make_*)
add_custom_target(pages ALL)

# make_page(COMPONENT FOLDER NAME SCRIPT... DEPENDS...): the script, which gets the file to make and its arguments, makes
# FOLDER/NAME.
function(make_page component folder name)
    cmake_parse_arguments(PARSE_ARGV 3 page "" "" "SCRIPT;DEPENDS")
    list(POP_FRONT page_SCRIPT script)
    set(file ${page_folder}/${component}-${name})
    add_custom_command(OUTPUT ${file}
        COMMAND ${CMAKE_COMMAND} -E env PYTHONDONTWRITEBYTECODE=1
            ${Python3_EXECUTABLE} ${help_folder}/${script} ${file} ${page_SCRIPT}
        DEPENDS ${page_DEPENDS} ${help_scripts} ${PROJECT_SOURCE_DIR}/CHANGELOG.md
        VERBATIM)
    string(MAKE_C_IDENTIFIER page_${component}_${name} target)
    add_custom_target(${target} DEPENDS ${file})
    add_dependencies(pages ${target})
    install(FILES ${file} DESTINATION ${folder} RENAME ${name} COMPONENT ${component})
endfunction()

function(make_manual component page)
    cmake_path(GET page STEM program)
    set(script make_manual ${help_folder}/${page})
    if(TARGET ${program} AND NOT program STREQUAL r8)
        list(APPEND script $<TARGET_FILE:${program}>)
    endif()
    make_page(${component} ${CMAKE_INSTALL_MANDIR}/man1 ${page}
        SCRIPT ${script} DEPENDS ${help_folder}/${page} ${program})
endfunction()

function(make_format_manual component page what document)
    cmake_path(GET page STEM format)
    make_page(${component} ${CMAKE_INSTALL_MANDIR}/man5 ${page}
        SCRIPT make_format_manual ${format} 5 ${what} ${PROJECT_SOURCE_DIR}/${document} ${ARGN}
        DEPENDS ${PROJECT_SOURCE_DIR}/${document})
endfunction()

function(make_completions component program)
    make_page(${component} ${CMAKE_INSTALL_DATADIR}/bash-completion/completions ${program}
        SCRIPT make_completion bash $<TARGET_FILE:${program}> DEPENDS ${help_folder}/completion.bash ${program})
    make_page(${component} ${R8_ZSH_FOLDER} _${program}
        SCRIPT make_completion zsh $<TARGET_FILE:${program}> DEPENDS ${help_folder}/completion.zsh ${program})
endfunction()
