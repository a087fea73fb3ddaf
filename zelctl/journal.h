/** @file
 *  Entries of the systemd journal with fields, in its native protocol: one datagram an entry. */
#ifndef ZELCTL_JOURNAL_H
#define ZELCTL_JOURNAL_H

#include "event.h"

constexpr const char *kJournalSocket = "/run/systemd/journal/socket";

class Journal {
 public:
  /** Throws a Failure when nobody listens there. */
  explicit Journal(const std::string &socket_path);
  Journal(const Journal &) = delete;
  Journal &operator=(const Journal &) = delete;
  ~Journal();

  /** @return false with errno: the journal did not take it, nor does this wait for it longer than a second */
  bool add(const Event &event) const;

 private:
  const std::string path_;
  int fd_;
};

#endif
