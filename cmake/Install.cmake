# What belongs to an installation beyond the library and the programs, and the Debian package. With the system's own
# prefix, /usr/orva, the programs, their pages and the units are also put where the system looks for them.

install(FILES etc/cameras.conf DESTINATION etc)
install(DIRECTORY etc/systemd DESTINATION ${CMAKE_INSTALL_DATADIR}/watchpost)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DATADIR}/watchpost)
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DATADIR}/watchpost)
install(
  CODE
    [=[
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr/orva")
  set(root "$ENV{DESTDIR}")
  file(GLOB units "${root}/usr/orva/share/watchpost/systemd/*")
  file(INSTALL ${units} DESTINATION "/lib/systemd/system")
  file(MAKE_DIRECTORY "${root}/usr/bin" "${root}/usr/sbin" "${root}/usr/share/man/man1" "${root}/usr/share/man/man8")
  foreach(link "usr/bin/wpctl;../orva/bin/wpctl" "usr/bin/camsim;../orva/bin/camsim" "usr/sbin/wpd;../orva/sbin/wpd"
               "usr/share/man/man1/wpctl.1;../../../orva/share/man/man1/wpctl.1"
               "usr/share/man/man1/camsim.1;../../../orva/share/man/man1/camsim.1"
               "usr/share/man/man8/wpd.8;../../../orva/share/man/man8/wpd.8"
  )
    list(GET link 0 path)
    list(GET link 1 target)
    file(CREATE_LINK "${target}" "${root}/${path}" SYMBOLIC)
  endforeach()
endif()
]=]
)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME watchpost)
set(CPACK_PACKAGE_VENDOR Watchpost)
set(CPACK_PACKAGE_CONTACT "Watchpost <watchpost@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "recorder of network cameras that deliver Motion-JPEG")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr/orva)
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr/orva)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded when they are needed, so that no tool sees them.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libavformat59, libavcodec59")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "postgresql, man-db")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    "${PROJECT_SOURCE_DIR}/packaging/postinst;${PROJECT_SOURCE_DIR}/packaging/prerm;${PROJECT_SOURCE_DIR}/packaging/postrm;${PROJECT_SOURCE_DIR}/packaging/conffiles"
)
include(CPack)
