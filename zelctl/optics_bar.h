/** @file
 *  A measured value against its limits, as a bar. */
#ifndef ZELCTL_OPTICS_BAR_H
#define ZELCTL_OPTICS_BAR_H

#include "../cli/diagnostics_page.h"

/** The number that people say: of a power in dBm. */
double people_number(const Measurement &measurement, double value);
/** Prints a value, its bar and where it stands: in one line, or in two on a narrow terminal. */
void draw_measurement(const Measurement &measurement);

#endif
