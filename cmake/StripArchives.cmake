# Read for each kind of package. Archives hold the library without what debuggers need; for Debian, that
# goes into a package of its own, and what is stripped before would be missing there.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
    set(CPACK_STRIP_FILES ON)
endif()
