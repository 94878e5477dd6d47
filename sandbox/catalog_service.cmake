# The backup server's catalog, for tests and for the demonstration.
find_package(PkgConfig REQUIRED)
pkg_check_modules(httplib REQUIRED IMPORTED_TARGET cpp-httplib)
find_package(OpenSSL 1.1.1 REQUIRED)
find_package(SQLite3 REQUIRED)

add_library(sandbox_catalog STATIC catalog_service.cpp catalog_store.cpp certificate.cpp)
target_link_libraries(sandbox_catalog PUBLIC gustaikrum_platform
                      PRIVATE PkgConfig::httplib OpenSSL::Crypto OpenSSL::SSL SQLite::SQLite3 gustaikrum_build)

add_executable(catalog_service catalog_service_main.cpp)
target_link_libraries(catalog_service PRIVATE sandbox_catalog gustaikrum_build)
