#pragma once

#include <string>
#include <vector>

#include "state.h"

namespace zelsim::tool {

/** What somebody did to a board from outside, as the board's log has it. */
struct LoggedEntry {
  /** The acts of a board have the numbers 1, 2, 3 ...; one with a long text takes several, and has the last. */
  uint32_t number = 0;
  int64_t at_us = 0;
  uint32_t change = 0;  // number of its change of the board
  uint32_t undoes = 0;  // number of the act that it undoes; 0: none
  std::string who = {};
  std::string command = {};
  std::string undo = {};
};

/** Puts an act into the log, with the time. Its number is the next one. */
void keep(Board &board, LoggedEntry entry);

/** Returns the act that begins at `position`, and moves `position` behind it. */
LoggedEntry take_entry(const Watch &watch, uint32_t &position);
/** The first position at which a whole act stands that the log still has. */
uint32_t oldest_position(const Watch &watch);
/** The acts that the log still has, the oldest one first. */
std::vector<LoggedEntry> entries_of(const Watch &watch);

/** What is told of an act: its title, else its commands as they are typed. */
std::string told_name(const LoggedEntry &entry);

}  // namespace zelsim::tool
