# SPDX-License-Identifier: Apache-2.0
# diagpanel: SEL captures and scenarios replayed through the real library in virtual time.
# Included by tools/ and, in builds without the tools (cross, sanitizers), by the tool's tests.
if(TARGET diagpanel)
  return()
endif()

# CLI11 and nlohmann-json are header-only. A cross build takes those two header trees from the
# host alone, never the host's whole /usr/include.
add_library(diagpanel_toolheaders INTERFACE)
if(CMAKE_CROSSCOMPILING)
  set(headers ${CMAKE_BINARY_DIR}/tool-headers)
  foreach(tree CLI nlohmann)
    if(NOT EXISTS /usr/include/${tree})
      message(FATAL_ERROR "diagpanel needs /usr/include/${tree}: install libcli11-dev and nlohmann-json3-dev")
    endif()
    file(MAKE_DIRECTORY ${headers})
    file(CREATE_LINK /usr/include/${tree} ${headers}/${tree} SYMBOLIC)
  endforeach()
  target_include_directories(diagpanel_toolheaders SYSTEM INTERFACE ${headers})
else()
  find_package(CLI11 REQUIRED)
  find_package(nlohmann_json 3 REQUIRED)
  target_link_libraries(diagpanel_toolheaders INTERFACE CLI11::CLI11 nlohmann_json::nlohmann_json)
endif()

set(dir ${PROJECT_SOURCE_DIR}/tools)
add_library(diagpanel_toolcommon STATIC ${dir}/diagpanel/panel_code.cpp)
target_compile_options(diagpanel_toolcommon PRIVATE ${DIAGPANEL_WARNINGS})

# The readers: bytes in, items or sensor names out. Neither the library nor the replay: the fuzz
# build, which has no tools, compiles them too.
include(${dir}/diagpanel/readers/readers.cmake)

# Everything but the command line, for the tool and its tests.
add_library(diagpanel_replay STATIC
  ${dir}/diagpanel/replay.cpp ${dir}/diagpanel/timeline/words.cpp
  ${dir}/diagpanel/timeline/text.cpp ${dir}/diagpanel/timeline/json.cpp
  ${dir}/diagpanel/timeline/svg.cpp ${dir}/diagpanel/timeline/outputs.cpp
  ${dir}/diagpanel/tables.cpp)
target_link_libraries(diagpanel_replay PUBLIC diagpanel_readers
  DiagnosticPanel diagpanel_boards diagpanel_host_support diagpanel_session diagpanel_toolcommon
  diagpanel_toolheaders)
target_compile_options(diagpanel_replay PRIVATE ${DIAGPANEL_WARNINGS})

# follow: a live BMC's SEL over IPMI LAN, through FreeIPMI's library linked in (GPL-3+: the
# diagpanel binary goes under its terms; the library it drives does not link it). A cross build
# has no target copy of it: its follow says so, and its tests run the follower alone.
add_library(diagpanel_follow STATIC ${dir}/diagpanel/follow/sel_follower.cpp
  ${dir}/diagpanel/follow/follow.cpp)
target_link_libraries(diagpanel_follow PUBLIC diagpanel_replay)
target_compile_options(diagpanel_follow PRIVATE ${DIAGPANEL_WARNINGS})
add_library(diagpanel_lan STATIC ${dir}/diagpanel/follow/sdr_repository.cpp)
if(CMAKE_CROSSCOMPILING)
  target_sources(diagpanel_lan PRIVATE ${dir}/diagpanel/follow/no_lan_client.cpp)
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(FREEIPMI REQUIRED IMPORTED_TARGET libfreeipmi)
  target_sources(diagpanel_lan PRIVATE ${dir}/diagpanel/follow/freeipmi_client.cpp)
  target_link_libraries(diagpanel_lan PRIVATE PkgConfig::FREEIPMI)
endif()
target_link_libraries(diagpanel_lan PUBLIC diagpanel_headers)
target_compile_options(diagpanel_lan PRIVATE ${DIAGPANEL_WARNINGS})
target_link_libraries(diagpanel_follow PUBLIC diagpanel_lan)

# What a watcher keeps of each BMC on disk: the records read and where its follower stands.
add_library(diagpanel_state STATIC ${dir}/diagpanel/state/bmc_state.cpp
  ${dir}/diagpanel/state/position_file.cpp)
target_link_libraries(diagpanel_state PUBLIC diagpanel_follow)
target_compile_options(diagpanel_state PRIVATE ${DIAGPANEL_WARNINGS})

# watch's inventory: modules, target files, shards and passwords of a fleet of BMCs. yaml-cpp is a
# compiled library a cross build does not have, and watch runs on a host: host builds alone.
if(NOT CMAKE_CROSSCOMPILING)
  find_package(yaml-cpp REQUIRED)
  set(watch ${dir}/diagpanel/watch)
  add_library(diagpanel_watch STATIC ${watch}/document.cpp ${watch}/config.cpp
    ${watch}/targets.cpp ${watch}/shard.cpp ${watch}/password.cpp)
  target_link_libraries(diagpanel_watch PUBLIC diagpanel_readers diagpanel_boards
    diagpanel_toolheaders yaml-cpp)
  target_compile_options(diagpanel_watch PRIVATE ${DIAGPANEL_WARNINGS})
  # The watcher: a pool of IPMI sessions, the state store, and a panel worker a BMC.
  add_library(diagpanel_watcher STATIC ${watch}/watcher.cpp ${watch}/watched_bmc.cpp
    ${watch}/step_pool.cpp ${watch}/panel_link.cpp ${watch}/panel_model.cpp ${watch}/readiness.cpp
    ${watch}/panel_worker.cpp ${watch}/fleet_view.cpp ${watch}/fleet_metrics.cpp
    ${watch}/web/web_config.cpp ${watch}/web/web_server.cpp ${watch}/web/pages.cpp
    ${watch}/web/timeline_drawing.cpp)
  find_package(Threads REQUIRED)
  find_package(prometheus-cpp CONFIG REQUIRED)
  find_package(OpenSSL REQUIRED)
  pkg_check_modules(HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib)
  target_link_libraries(diagpanel_watcher PUBLIC diagpanel_watch diagpanel_state Threads::Threads
    prometheus-cpp::core PkgConfig::HTTPLIB OpenSSL::Crypto crypt)
  target_compile_options(diagpanel_watcher PRIVATE ${DIAGPANEL_WARNINGS})
endif()

# The command line: a short main and one file a command, with the pieces they share.
set(commands ${dir}/diagpanel/commands)
add_executable(diagpanel ${dir}/diagpanel/main.cpp ${commands}/board.cpp ${commands}/outputs.cpp
  ${commands}/problems.cpp ${commands}/replay.cpp ${commands}/decode.cpp ${commands}/boards.cpp
  ${commands}/follow.cpp ${commands}/tables.cpp)
target_link_libraries(diagpanel PRIVATE diagpanel_replay diagpanel_follow)
if(CMAKE_CROSSCOMPILING)
  target_sources(diagpanel PRIVATE ${commands}/no_watch.cpp)
else()
  target_sources(diagpanel PRIVATE ${commands}/watch.cpp)
  target_link_libraries(diagpanel PRIVATE diagpanel_watcher)
endif()
# CLI11's own code, inlined here, trips the null-dereference analysis.
target_compile_options(diagpanel PRIVATE ${DIAGPANEL_WARNINGS} -Wno-null-dereference)
set_target_properties(diagpanel PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tools)
