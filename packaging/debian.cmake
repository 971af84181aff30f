# Debian packages of an installation below /usr, made by cpack: the runtime library, what developing against it needs, the
# command line tools, and the Python package where its sources are.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kovadata)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/debs")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL runtime development tools)

# The packager's address as Debian's own tools take it.
set(maintainer_name "kovadata developers")
set(maintainer_address "kovadata@example.org")
if(DEFINED ENV{DEBFULLNAME})
  set(maintainer_name "$ENV{DEBFULLNAME}")
endif()
if(DEFINED ENV{DEBEMAIL})
  set(maintainer_address "$ENV{DEBEMAIL}")
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 0kovadata1)  # a package of Debian's own would be -1 and replace it
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${maintainer_name} <${maintainer_address}>")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(KOVADATA_CROSS)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE "${KOVADATA_CROSS}")
endif()
set(debian_version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")

# kovadata_debian_package(<component> NAME ... SECTION ... TITLE ... TEXT ... [DEPENDS ...] [SUGGESTS ...]
#   [ARCHITECTURE all])
function(kovadata_debian_package component)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "NAME;SECTION;TITLE;TEXT;DEPENDS;SUGGESTS;ARCHITECTURE" "")
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME "${arg_NAME}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION "${arg_SECTION}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${arg_TITLE}\n${arg_TEXT}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${arg_DEPENDS}" PARENT_SCOPE)
  if(arg_SUGGESTS)
    set(CPACK_DEBIAN_${upper}_PACKAGE_SUGGESTS "${arg_SUGGESTS}" PARENT_SCOPE)
  endif()
  if(arg_ARCHITECTURE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_ARCHITECTURE "${arg_ARCHITECTURE}" PARENT_SCOPE)
  else()
    set(CPACK_DEBIAN_${upper}_PACKAGE_SHLIBDEPS ON PARENT_SCOPE)
  endif()
endfunction()

set(about "The library reads frames, mobility scans, peaks and MS/MS spectra of
ion-mobility time-of-flight mass spectrometers, and spectra of those without
mobility, inside the process that uses it.")
set(runtime_package "libkovadata${PROJECT_VERSION_MAJOR}")
kovadata_debian_package(runtime NAME ${runtime_package} SECTION libs
  TITLE "read access to ion-mobility time-of-flight raw data"
  TEXT "${about}
.
This package has the shared libraries.")
kovadata_debian_package(development NAME libkovadata-dev SECTION libdevel
  DEPENDS "${runtime_package} (= ${debian_version})"
  TITLE "read access to ion-mobility time-of-flight raw data - development files"
  TEXT "${about}
.
This package has the headers for C and C++, examples in several languages, and
what CMake and pkg-config need.")
kovadata_debian_package(tools NAME kovadata-tools SECTION science
  DEPENDS "${runtime_package} (= ${debian_version})"
  SUGGESTS "python3-kovadata, python3-matplotlib"
  TITLE "read access to ion-mobility time-of-flight raw data - command line tools"
  TEXT "kova lists, prints, exports and checks what an analysis holds. kova-simulate
makes believable analyses to try programs on.")

# The library brings what finds it, and what programs that link it have to depend on.
file(WRITE "${PROJECT_BINARY_DIR}/debian/symbols" "")
file(WRITE "${PROJECT_BINARY_DIR}/debian/shlibs" "")
foreach(library libkovadata libkovarun)
  file(READ "${PROJECT_SOURCE_DIR}/packaging/${library}.symbols" symbols)
  file(APPEND "${PROJECT_BINARY_DIR}/debian/symbols" "${symbols}")
  file(APPEND "${PROJECT_BINARY_DIR}/debian/shlibs"
    "${library} ${PROJECT_VERSION_MAJOR} ${runtime_package} (>= ${PROJECT_VERSION})\n")
endforeach()
file(WRITE "${PROJECT_BINARY_DIR}/debian/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/symbols"
  "${PROJECT_BINARY_DIR}/debian/shlibs" "${PROJECT_BINARY_DIR}/debian/triggers")
# The tools use a library that no installed package knows of yet.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/src")

if(EXISTS "${PROJECT_SOURCE_DIR}/python/kovadata")
  list(APPEND CPACK_COMPONENTS_ALL python3)
  install(DIRECTORY python/kovadata DESTINATION lib/python3/dist-packages COMPONENT python3
    PATTERN __pycache__ EXCLUDE)
  # Byte code that Python makes beside the sources comes and goes with the package.
  set(CPACK_DEBIAN_PYTHON3_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/python3/postinst"
    "${PROJECT_SOURCE_DIR}/packaging/python3/prerm")
  kovadata_debian_package(python3 NAME python3-kovadata SECTION python ARCHITECTURE all
    DEPENDS "${runtime_package} (>= ${PROJECT_VERSION}), python3 (>= 3.9), python3-numpy"
    SUGGESTS "python3-matplotlib, python3-pandas"
    TITLE "read access to ion-mobility time-of-flight raw data - Python 3"
    TEXT "${about}
.
This package has the Python interface, which gives peaks as arrays.")
endif()

# Man pages belong to the tools.
if(TARGET man-pages)
  set_target_properties(man-pages PROPERTIES EXCLUDE_FROM_ALL OFF)
endif()

# What every package has to bring as Debian wants it is added to the folders that packages are made of.
set(KOVADATA_DEBIAN_PACKAGES)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  list(APPEND KOVADATA_DEBIAN_PACKAGES "${component}=${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
endforeach()
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE "${PROJECT_BINARY_DIR}/debian/changelog" "kovadata (${debian_version}) unstable; urgency=medium

  * Package of version ${PROJECT_VERSION}.

 -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${date}\n")
configure_file(packaging/complete_packages.cmake.in debian/complete_packages.cmake @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_BINARY_DIR}/debian/complete_packages.cmake")

include(CPack)
