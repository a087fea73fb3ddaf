#pragma once

#include <string>
#include <vector>

#include "state.h"

namespace zelsim::tool {

/** An act in a board's log: what somebody did to the board from outside. */
struct LoggedEntry {
  /** The acts of a board have the numbers 1, 2, 3 ... An act with a long text takes several numbers; its own is the
   *  last one. */
  uint32_t number = 0;
  int64_t at_us = 0;
  uint32_t change = 0;  // number of its change of the board
  uint32_t undoes = 0;  // number of the act that it undoes; 0: none
  std::string who = {};
  std::string command = {};  // one command as it is typed; or a title, which may be empty, a line feed, and "a;b;c"
  std::string undo = {};
};

/** Puts an act into the log, with the time. Its number is the next one. */
void keep(Board &board, LoggedEntry entry);

/** Returns the act that begins at `position`, and moves `position` behind it. */
LoggedEntry take_entry(const Watch &watch, uint32_t &position);
/** The position of the oldest act that the log still has as a whole. */
uint32_t oldest_position(const Watch &watch);
/** The acts that the log still has, the oldest one first. */
std::vector<LoggedEntry> entries_of(const Watch &watch);

/** The name of an act for people: its title, or else its commands as they are typed. */
std::string told_name(const LoggedEntry &entry);

}  // namespace zelsim::tool
