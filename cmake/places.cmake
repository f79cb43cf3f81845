# Where what is installed goes. Programs find what belongs to them by its way from their own folder, so that an
# installed tree can be moved; the build folder has the same ways, as links.
include(GNUInstallDirs)
set(R8_PRIVATE_FOLDER ${CMAKE_INSTALL_LIBEXECDIR}/r8) # what nobody starts or links by its name
set(R8_DATA_FOLDER ${CMAKE_INSTALL_DATADIR}/r8)
set(R8_UNIT_FOLDER lib/systemd/system CACHE STRING "Where units of systemd go, below the prefix")
set(R8_ZSH_FOLDER ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Where zsh finds completions")

# way_to(RESULT FOLDER): from the folder of the programs.
function(way_to result folder)
    file(RELATIVE_PATH way /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${folder})
    if(IS_ABSOLUTE ${CMAKE_INSTALL_BINDIR} OR IS_ABSOLUTE ${folder} OR NOT way MATCHES "^\\.\\./[^.]")
        message(FATAL_ERROR
            "Programs go to a folder right below the prefix, and ${folder} below the same one, not to ${CMAKE_INSTALL_BINDIR}")
    endif()
    set(${result} ${way} PARENT_SCOPE)
endfunction()
way_to(R8_WAY_TO_PRIVATE ${R8_PRIVATE_FOLDER})
way_to(R8_WAY_TO_DATA ${R8_DATA_FOLDER})

# stand_in(FILE WAY): FILE at that way from the programs of the build folder.
function(stand_in file way)
    cmake_path(SET link NORMALIZE ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${way})
    cmake_path(GET link PARENT_PATH folder)
    file(MAKE_DIRECTORY ${folder})
    file(CREATE_LINK ${file} ${link} SYMBOLIC)
endfunction()
