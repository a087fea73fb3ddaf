# The library proper. It needs libc and nothing else at run time, and calls plain libc functions through the dynamic
# linker, so that whatever stands in front of libc can serve it without hardware:
#  -fno-builtin-*        printf, puts, putchar, strncmp, memcmp and memchr stay what the source says
#  -D__NO_INLINE__       libc's headers define no inline putchar
#  -U_FORTIFY_SOURCE     no __read_chk and the like
#  -fno-stack-protector  no __stack_chk_fail, whatever a distribution's flags say
#  linked as C            no libstdc++; templates and constexpr need none of it
set(ZELBOARD_SOURCES
  board/cage_signals.cpp
  board/command.cpp
  board/control.cpp
  board/daughter_board.cpp
  board/expander_init.cpp
  board/indicators.cpp
  board/legacy.cpp
  board/port_map.cpp
  board/power.cpp
  board/register.cpp
  board/request.cpp
  board/signal_tables.cpp
  flash/checksum.cpp
  flash/content.cpp
  flash/crc.cpp
  flash/device.cpp
  flash/environment.cpp
  flash/environment_flags.cpp
  flash/environment_table.cpp
  flash/environment_update.cpp
  flash/file.cpp
  flash/file_check.cpp
  flash/image.cpp
  flash/mac_backup.cpp
  flash/map.cpp
  flash/FW_N25Q256A_api/access.cpp
  flash/FW_N25Q256A_api/boot_writer.cpp
  flash/FW_N25Q256A_api/customize_database.cpp
  flash/FW_N25Q256A_api/dump.cpp
  flash/FW_N25Q256A_api/dump_compare.cpp
  flash/FW_N25Q256A_api/environment.cpp
  flash/FW_N25Q256A_api/gen_database.cpp
  flash/FW_N25Q256A_api/identity.cpp
  flash/FW_N25Q256A_api/image_copy.cpp
  flash/FW_N25Q256A_api/image_verify.cpp
  flash/FW_N25Q256A_api/inspect.cpp
  flash/FW_N25Q256A_api/partition_table.cpp
  flash/FW_N25Q256A_api/shared_database.cpp
  i2c/bus.cpp
  i2c/clock.cpp
  i2c/clock_codec.cpp
  i2c/stubs.cpp
  i2c/temperature.cpp
  i2c/transfer.cpp
  sfp/copper.cpp
  sfp/identification.cpp
  sfp/module_class.cpp
  sfp/phy_register.cpp
  sfp/sgmii.cpp)

add_library(zelboard_objects OBJECT ${ZELBOARD_SOURCES})
target_include_directories(zelboard_objects PUBLIC include PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_options(zelboard_objects PRIVATE
  -fno-exceptions -fno-rtti -fno-threadsafe-statics -fno-asynchronous-unwind-tables
  -fvisibility=hidden -fvisibility-inlines-hidden -ffunction-sections -fdata-sections
  -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=0 -fno-builtin-printf -fno-builtin-puts -fno-builtin-putchar
  -fno-builtin-strncmp -fno-builtin-memcmp -fno-builtin-memchr -D__NO_INLINE__
  -fno-stack-protector)
set_target_properties(zelboard_objects PROPERTIES POSITION_INDEPENDENT_CODE ON UNITY_BUILD OFF)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  target_compile_options(zelboard_objects PRIVATE -Os)
elseif(ZELBOARD_SANITIZE)
  target_compile_options(zelboard_objects PRIVATE -O1)  # so its tests take two thirds of the time
endif()
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  # Checksums run over millions of bytes. Every request passes through the other two files.
  set_source_files_properties(flash/checksum.cpp flash/crc.cpp PROPERTIES COMPILE_OPTIONS -O3)
  set_source_files_properties(board/request.cpp i2c/transfer.cpp PROPERTIES COMPILE_OPTIONS -O2)
endif()

add_library(zelboard SHARED $<TARGET_OBJECTS:zelboard_objects>)
add_library(zelboard_static STATIC $<TARGET_OBJECTS:zelboard_objects>)
foreach(target zelboard zelboard_static)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  set_target_properties(${target} PROPERTIES OUTPUT_NAME zelboard LINKER_LANGUAGE C)
  # The same names as an installed library has.
  add_library(zelboard::${target} ALIAS ${target})
endforeach()
set_target_properties(zelboard PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/zelboard.map)
target_link_options(zelboard PRIVATE -Wl,--as-needed -Wl,--gc-sections -Wl,-z,relro
  -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/zelboard.map)
if(NOT ZELBOARD_SANITIZE)
  target_link_options(zelboard PRIVATE -static-libgcc -Wl,--no-undefined)
endif()
