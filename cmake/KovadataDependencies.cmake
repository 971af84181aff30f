# Third-party libraries. Those that the library links are all reached through imported targets; none of them appears in
# a public header.
find_package(Threads REQUIRED)
find_package(OpenMP REQUIRED COMPONENTS CXX)
find_package(Boost 1.74 REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(spdlog REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(ZSTD REQUIRED IMPORTED_TARGET GLOBAL libzstd)
pkg_check_modules(LZF REQUIRED IMPORTED_TARGET GLOBAL liblzf)
add_library(zstd::zstd ALIAS PkgConfig::ZSTD)
add_library(lzf::lzf ALIAS PkgConfig::LZF)

# The logging back end is compiled into src/logging, hidden like everything else, so that no other copy of it in the
# process is met. A program that the host starts inherits no log file.
add_library(kovadata_spdlog INTERFACE)
get_target_property(spdlog_includes spdlog::spdlog_header_only INTERFACE_INCLUDE_DIRECTORIES)
target_include_directories(kovadata_spdlog SYSTEM INTERFACE ${spdlog_includes})
target_compile_definitions(kovadata_spdlog INTERFACE SPDLOG_HEADER_ONLY SPDLOG_FMT_EXTERNAL FMT_HEADER_ONLY
  SPDLOG_PREVENT_CHILD_FD)

if(KOVADATA_BUILD_TOOLS OR KOVADATA_BUILD_TESTS OR KOVADATA_BUILD_BENCH)
  find_package(CLI11 REQUIRED)
  find_package(nlohmann_json REQUIRED)
endif()
if(KOVADATA_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()
if(KOVADATA_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()
