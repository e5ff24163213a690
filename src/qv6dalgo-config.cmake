include(CMakeFindDependencyMacro)
find_dependency(Threads) # of the service layer
include(${CMAKE_CURRENT_LIST_DIR}/qv6dalgo-targets.cmake)
