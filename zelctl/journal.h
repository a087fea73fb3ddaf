/** @file
 *  Entries of the systemd journal with fields, in its native protocol: one datagram for each entry. */
#ifndef ZELCTL_JOURNAL_H
#define ZELCTL_JOURNAL_H

#include "event.h"

constexpr const char *kJournalSocket = "/run/systemd/journal/socket";

class Journal {
 public:
  /** Throws a Failure if nobody listens at the socket. */
  explicit Journal(const std::string &socket_path);
  Journal(const Journal &) = delete;
  Journal &operator=(const Journal &) = delete;
  ~Journal();

  /** Adds an entry. Waits for the journal for a second at most. @return false with errno if the journal did not take it */
  bool add(const Event &event) const;

 private:
  const std::string path_;
  int fd_ = -1;
};

#endif
