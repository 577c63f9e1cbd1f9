# Where everything is installed, and the two Debian packages made of it: "teskd", the daemon as a
# service, and "teskd-tools", the programs for whoever looks after it.
#
#     cmake --build --preset release --target packages     # build/release/packages/*.deb
#     DESTDIR=/some/root cmake --install build/release     # the same files, without packages
#
# A tool that is added to TESKD_TOOLS is installed when its target exists.

# Service, init script and man pages name /usr/sbin/teskd, so that is where it goes unless another
# prefix is asked for. What belongs into /etc goes there whatever the prefix.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
    set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "Where the programs are installed" FORCE)
endif()

set(TESKD_PACKAGING ${PROJECT_SOURCE_DIR}/packaging)
set(TESKD_TOOLS tesksim dornctl teskd-checkconf)

install(TARGETS teskd RUNTIME DESTINATION sbin COMPONENT daemon)
install(FILES ${TESKD_PACKAGING}/tesk_v2.ini DESTINATION /etc COMPONENT daemon)
install(FILES ${TESKD_PACKAGING}/teskd.service DESTINATION /lib/systemd/system COMPONENT daemon)
install(PROGRAMS ${TESKD_PACKAGING}/teskd.init DESTINATION /etc/init.d RENAME teskd COMPONENT daemon)
install(FILES ${TESKD_PACKAGING}/teskd.rsyslog
    DESTINATION /etc/rsyslog.d RENAME teskd.conf COMPONENT daemon)
install(FILES ${TESKD_PACKAGING}/teskd.logrotate
    DESTINATION /etc/logrotate.d RENAME teskd COMPONENT daemon)
set(TESKD_PAGES ${PROJECT_BINARY_DIR}/packaging/man)
foreach(page IN ITEMS teskd.8 tesk_v2.ini.5)
    configure_file(${TESKD_PACKAGING}/man/${page} ${TESKD_PAGES}/${page} @ONLY)
endforeach()
install(FILES ${TESKD_PAGES}/teskd.8 DESTINATION share/man/man8 COMPONENT daemon)
install(FILES ${TESKD_PAGES}/tesk_v2.ini.5 DESTINATION share/man/man5 COMPONENT daemon)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION share/doc/teskd COMPONENT daemon)
install(DIRECTORY docs DESTINATION share/doc/teskd COMPONENT daemon
    FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.yaml")

set(CPACK_COMPONENTS_ALL daemon)
foreach(tool IN LISTS TESKD_TOOLS)
    if(TARGET ${tool})
        get_target_property(directory ${tool} SOURCE_DIR)
        install(TARGETS ${tool} RUNTIME DESTINATION bin COMPONENT tools)
        get_target_property(built ${tool} BINARY_DIR)
        install(FILES ${built}/${tool}.1 DESTINATION share/man/man1 COMPONENT tools)
        install(FILES ${directory}/${tool}.bash
            DESTINATION share/bash-completion/completions RENAME ${tool} COMPONENT tools)
        install(FILES ${directory}/${tool}.zsh
            DESTINATION share/zsh/vendor-completions RENAME _${tool} COMPONENT tools)
        install(FILES ${directory}/${tool}.fish
            DESTINATION share/fish/vendor_completions.d COMPONENT tools)
        install(DIRECTORY ${directory}/scenarios ${directory}/examples
            DESTINATION share/doc/teskd-tools COMPONENT tools OPTIONAL)
        install(DIRECTORY ${built}/schema
            DESTINATION share/teskd-tools COMPONENT tools OPTIONAL)
        list(APPEND TESKD_PACKAGED ${tool})
    endif()
endforeach()
if(TESKD_PACKAGED)
    list(APPEND CPACK_COMPONENTS_ALL tools)
    install(FILES ${PROJECT_SOURCE_DIR}/tools/wireshark/teskd.lua
        DESTINATION share/teskd-tools/wireshark COMPONENT tools)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "teskd maintainers <teskd@localhost>")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# Only a native build has the tools and the libraries to look up what the programs need.
if(CMAKE_CROSSCOMPILING)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
    set(TESKD_LIBRARIES "libc6, libgcc-s1, libstdc++6")
else()
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()
set(CPACK_DEBIAN_DAEMON_PACKAGE_DEPENDS ${TESKD_LIBRARIES} passwd)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ${TESKD_LIBRARIES})
list(JOIN CPACK_DEBIAN_DAEMON_PACKAGE_DEPENDS ", " CPACK_DEBIAN_DAEMON_PACKAGE_DEPENDS)

set(CPACK_DEBIAN_DAEMON_PACKAGE_NAME teskd)
set(CPACK_DEBIAN_DAEMON_PACKAGE_RECOMMENDS "rsyslog | system-log-daemon, logrotate")
set(CPACK_DEBIAN_DAEMON_PACKAGE_SUGGESTS teskd-tools)
set(CPACK_DEBIAN_DAEMON_PACKAGE_CONTROL_EXTRA
    ${TESKD_PACKAGING}/debian/conffiles ${TESKD_PACKAGING}/debian/postinst
    ${TESKD_PACKAGING}/debian/prerm ${TESKD_PACKAGING}/debian/postrm)
set(CPACK_DEBIAN_DAEMON_DESCRIPTION "gateway between slot machines and hosts
Talks to slot machines behind a serial-port server, serves hosts over TCP, polls
the machines' counters and notifies a server over UDP.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME teskd-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS teskd)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "tools for whoever looks after teskd
Simulated slot machines and what else helps to set up and examine the gateway.")

include(CPack)

file(GLOB_RECURSE TESKD_PACKAGED_FILES CONFIGURE_DEPENDS
    ${TESKD_PACKAGING}/* ${PROJECT_SOURCE_DIR}/docs/* ${PROJECT_SOURCE_DIR}/tools/*.1
    ${PROJECT_SOURCE_DIR}/tools/wireshark/*)
list(APPEND TESKD_PACKAGED_FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    ${PROJECT_SOURCE_DIR}/CONTRIBUTING.md)

# Packages of what is built; they are made anew when a program or a packaged file changes.
add_custom_command(
    OUTPUT ${PROJECT_BINARY_DIR}/packages/stamp
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${PROJECT_BINARY_DIR}/packages
    COMMAND ${CMAKE_CPACK_COMMAND} --config ${PROJECT_BINARY_DIR}/CPackConfig.cmake
            -B ${PROJECT_BINARY_DIR}/packages
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${PROJECT_BINARY_DIR}/packages/_CPack_Packages
    COMMAND ${CMAKE_COMMAND} -E touch ${PROJECT_BINARY_DIR}/packages/stamp
    DEPENDS teskd ${TESKD_PACKAGED} ${TESKD_PACKAGED_FILES} ${PROJECT_BINARY_DIR}/CPackConfig.cmake
    COMMENT "Packing" VERBATIM)
if(CMAKE_CROSSCOMPILING AND NOT TESKD_STATIC)
    # Nothing in such a build needs them, but they are what it is for.
    set(TESKD_PACKED_BY_ALL ALL)
endif()
add_custom_target(packages ${TESKD_PACKED_BY_ALL} DEPENDS ${PROJECT_BINARY_DIR}/packages/stamp)
