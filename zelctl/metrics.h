/** @file
 *  The text format of Prometheus. */
#ifndef ZELCTL_METRICS_H
#define ZELCTL_METRICS_H

#include <string>
#include <vector>

/** One metric: its help and type, and its samples. Without a sample it is left out. */
std::string metric(const std::string &name, const std::string &help, const std::vector<std::string> &samples);
std::string sample(const std::string &labels, double value);

#endif
