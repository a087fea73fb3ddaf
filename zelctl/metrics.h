/** @file
 *  Metrics in the text format of Prometheus. */
#ifndef ZELCTL_METRICS_H
#define ZELCTL_METRICS_H

#include <string>
#include <vector>

/** The lines of a metric: its help, its type and its samples. No lines if there is no sample.
 *  @param samples  made by sample_line */
std::string metric_text(const std::string &name, const std::string &help, const std::vector<std::string> &samples);
/** Labels and value of a sample: what stands behind the name of its metric. */
std::string sample_line(const std::string &labels, double value);

#endif
