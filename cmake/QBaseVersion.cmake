# The version, read from include/QBase/Version.h, where it stands for programs as well: qbaseVersion is 2.1.0.
set(versionHeader ${CMAKE_CURRENT_LIST_DIR}/../include/QBase/Version.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${versionHeader})
file(STRINGS ${versionHeader} versionLines REGEX "^#define QBASE_VERSION_(MAJOR|MINOR|PATCH) [0-9]+$")
list(TRANSFORM versionLines REPLACE "^.* " "")
list(JOIN versionLines "." qbaseVersion)
