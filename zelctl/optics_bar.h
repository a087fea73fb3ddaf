/** @file
 *  A measured value and its limits, drawn as a bar. */
#ifndef ZELCTL_OPTICS_BAR_H
#define ZELCTL_OPTICS_BAR_H

#include "../cli/diagnostics_page.h"

/** The number that people read: a power is in dBm. */
double people_number(const Measurement &measurement, double value);
/** Prints a value, its bar, and where it stands in its limits: in one line, or in two on a narrow terminal. */
void draw_measurement(const Measurement &measurement);

#endif
