# What is installed, and where. A component is a package: debian/rules installs each into the package of its name.

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME ravelin)
set(RAVELIN_UNIT_DIR lib/systemd/system CACHE STRING "Where systemd finds its units")
set(examples ${CMAKE_INSTALL_DOCDIR}/examples)

install(TARGETS ravelin ravelinctl)
install(DIRECTORY share/schema DESTINATION ${CMAKE_INSTALL_DATADIR}/ravelin)
install(FILES ${CMAKE_BINARY_DIR}/translations/Ravelin.qm DESTINATION ${CMAKE_INSTALL_DATADIR}/ravelin/translations)
install(FILES share/ravelin.ini.example share/ravelin.ini.field share/register.csv.example DESTINATION ${examples})
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)

# The service. All its units run in one sandbox, which stands in each of them: a unit shows all that holds for it.
file(READ share/service/sandbox RAVELIN_SANDBOX)
foreach(unit ravelin ravelin-backup ravelin-retain)
    configure_file(share/service/${unit}.service.in ${CMAKE_BINARY_DIR}/service/${unit}.service @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/service/${unit}.service DESTINATION ${RAVELIN_UNIT_DIR})
endforeach()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS share/service/sandbox)
install(FILES share/service/ravelin-backup.timer share/service/ravelin-retain.timer DESTINATION ${RAVELIN_UNIT_DIR})
install(FILES share/service/sysusers.conf DESTINATION lib/sysusers.d RENAME ravelin.conf)
install(FILES share/service/tmpfiles.conf DESTINATION lib/tmpfiles.d RENAME ravelin.conf)
install(FILES share/service/logrotate DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/logrotate.d RENAME ravelin)
install(FILES share/service/ravelin.ini DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/ravelin)
install(FILES share/service/70-ravelin.rules share/service/remote-database.conf share/service/russian.conf
    DESTINATION ${examples})

install(TARGETS ravelin-sim COMPONENT ravelin-sim)
install(FILES simulator/README.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ravelin-sim COMPONENT ravelin-sim)
install(FILES share/scenario.ini.example DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ravelin-sim/examples COMPONENT ravelin-sim)

set(hub_docs ${CMAKE_INSTALL_DATADIR}/doc/ravelin-hub)
configure_file(share/service/ravelin-hub.service.in ${CMAKE_BINARY_DIR}/service/ravelin-hub.service @ONLY)
install(TARGETS ravelin-hub COMPONENT ravelin-hub)
install(FILES ${CMAKE_BINARY_DIR}/service/ravelin-hub.service DESTINATION ${RAVELIN_UNIT_DIR} COMPONENT ravelin-hub)
install(FILES share/service/hub-sysusers.conf DESTINATION lib/sysusers.d RENAME ravelin-hub.conf COMPONENT ravelin-hub)
install(FILES share/service/ravelin-hub.ini DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/ravelin COMPONENT ravelin-hub)
install(FILES share/ravelin-hub.ini.example share/service/hub-network.conf DESTINATION ${hub_docs}/examples
    COMPONENT ravelin-hub)
install(DIRECTORY share/prometheus DESTINATION ${hub_docs}/examples COMPONENT ravelin-hub)
install(FILES docs/hub.md docs/metrics.md docs/mqtt.md DESTINATION ${hub_docs} COMPONENT ravelin-hub)

set(forward_docs ${CMAKE_INSTALL_DATADIR}/doc/ravelin-forward)
configure_file(share/service/ravelin-forward.service.in ${CMAKE_BINARY_DIR}/service/ravelin-forward.service @ONLY)
install(TARGETS ravelin-forward COMPONENT ravelin-forward)
install(FILES ${CMAKE_BINARY_DIR}/service/ravelin-forward.service DESTINATION ${RAVELIN_UNIT_DIR} COMPONENT ravelin-forward)
install(FILES share/service/ravelin-forward.ini DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/ravelin
    COMPONENT ravelin-forward)
install(FILES share/ravelin-forward.ini.example DESTINATION ${forward_docs}/examples COMPONENT ravelin-forward)
install(FILES docs/forwarder.md DESTINATION ${forward_docs} COMPONENT ravelin-forward)
