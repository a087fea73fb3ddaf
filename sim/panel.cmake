# The artwork of `zelsim panel` as a C++ string, less its end, before which the program adds its own.
set(ZELSIM_GENERATED ${CMAKE_BINARY_DIR}/generated)
file(READ ${CMAKE_CURRENT_LIST_DIR}/panel.svg ZELSIM_PANEL)
string(REPLACE "</svg>" "" ZELSIM_PANEL "${ZELSIM_PANEL}")
file(CONFIGURE OUTPUT ${ZELSIM_GENERATED}/panel_artwork.h CONTENT "constexpr char kArtwork[] = R\"svg(@ZELSIM_PANEL@)svg\";\n"
  @ONLY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/panel.svg)
