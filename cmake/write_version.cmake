# Writes OUTPUT from TEMPLATE, with the project's VERSION and the commit of the sources in SOURCE: what git says of a
# checkout, what cmake/commit says in an archive that git made. Untouched when nothing changed, so nothing is compiled.
# usage: cmake -D SOURCE=... -D VERSION=... -D TEMPLATE=... -D OUTPUT=... -P write_version.cmake
set(commit "")
if(EXISTS ${SOURCE}/.git)
    # Without the lock that git would take for its own index.
    execute_process(
        COMMAND ${CMAKE_COMMAND} -E env GIT_OPTIONAL_LOCKS=0
            git -C ${SOURCE} describe --always --exclude=* --abbrev=12 --dirty=.modified
        OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
else()
    file(READ ${SOURCE}/cmake/commit commit)
    string(STRIP "${commit}" commit)
    if(commit MATCHES "Format") # no archive of git's
        set(commit "")
    endif()
    string(SUBSTRING "${commit}" 0 12 commit)
endif()
set(R8_VERSION ${VERSION})
if(commit)
    string(APPEND R8_VERSION +${commit})
endif()
configure_file(${TEMPLATE} ${OUTPUT} @ONLY)
