# What cmake --install puts where. Components: board (the tool), vboard, station.
install(TARGETS r8 RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT board)
if(NOT R8_WITH_BOARD OR R8_TOOL_ARCHITECTURE)
    return()
endif()

# The virtual board has a tool of its own, whatever else is called r8 on the machine.
install(TARGETS vboard RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT vboard)
install(TARGETS r8 RUNTIME DESTINATION ${R8_PRIVATE_FOLDER} COMPONENT vboard)
install(TARGETS vboard-preload LIBRARY DESTINATION ${R8_PRIVATE_FOLDER} COMPONENT vboard)
install(DIRECTORY vboard/scenarios DESTINATION ${R8_DATA_FOLDER} COMPONENT vboard)
install(FILES docs/scenarios.md docs/limits.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT vboard)

install(TARGETS r8-station RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT station)
install(FILES docs/record.schema.json DESTINATION ${R8_DATA_FOLDER}/schema COMPONENT station)
install(DIRECTORY vboard/products DESTINATION ${R8_DATA_FOLDER} COMPONENT station)
install(FILES docs/station.md docs/product.md docs/security.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT station)
configure_file(packaging/systemd/r8-station-sync@.service.in r8-station-sync@.service @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/r8-station-sync@.service DESTINATION ${R8_UNIT_FOLDER} COMPONENT station)

# Instrumented programs are never installed, and start slowly.
if(R8_SANITIZE OR R8_COVERAGE)
    return()
endif()
include(cmake/pages.cmake)
if(TARGET pages)
    make_manual(board r8.1)
    make_manual(vboard vboard.1)
    make_format_manual(vboard r8-scenario.5 "boards for the virtual board" docs/scenarios.md vboard.1)
    make_completions(vboard vboard)
    make_manual(station r8-station.1)
    make_format_manual(station r8-product.5 "what a good unit of a product is" docs/product.md r8-station.1
        r8-scenario.5)
    make_completions(station r8-station)
endif()
