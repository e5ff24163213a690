# The library needs no other package, so that its targets are all there is.
include(${CMAKE_CURRENT_LIST_DIR}/qv6dalgo-targets.cmake)
