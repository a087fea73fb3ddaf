/* Keeps the switch's indicators in step with what it measures: alarm LED and relay with power and temperature, the
 * system LED with whether both can be read at all. One line on standard output for each change.
 *
 *   indicators [--once] [--limit CELSIUS] [--period SECONDS] */
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <zelboard/zelboard.h>

struct state {
  bool readable, power_alarm, hot;
};

/* A temperature that swings around the limit must not make the relay chatter. */
static const float hysteresis = 3;
static volatile sig_atomic_t stopped;

static void stop(int signal_number) {
  (void)signal_number;
  stopped = 1;
}

static struct state look(struct state before, float limit) {
  struct state now = before;
  uint8_t alarm = 0;
  temp_record measured;
  const bool power_read = FW_GetPowerAlarm(&alarm) == 0;
  const bool temperature_read = FW_PollTemperature() == 0 && FW_GetTemperature(&measured) == 0;
  if (power_read) now.power_alarm = alarm != 0;
  if (temperature_read) now.hot = measured.temperature > (before.hot ? limit - hysteresis : limit);
  now.readable = power_read && temperature_read;
  return now;
}

/* Sets every indicator each time: another program may have changed one. The library sends nothing for an LED that is
 * right already. */
static bool show(struct state now) {
  const bool alarm = now.power_alarm || now.hot;
  bool good = FW_SetSystemLed(now.readable ? FW_LED_ON : FW_LED_BLINK) == 0;
  if (FW_SetAlarmLed(alarm ? FW_LED_ON : FW_LED_OFF) != 0) good = false;
  if (FW_SetAlarmRelay(alarm) != 0) good = false;
  return good;
}

static void report(struct state now, bool shown) {
  printf("power %s, temperature %s%s%s\n", now.power_alarm ? "alarm" : "good", now.hot ? "too high" : "good",
         now.readable ? "" : ", not everything can be read", shown ? "" : ", not everything can be shown");
  fflush(stdout);
}

/* A number, or the end of the program with a line that names the option. */
static double number(const char *option, const char *text) {
  char *end;
  const double value = text != NULL ? strtod(text, &end) : 0;
  if (text != NULL && end != text && *end == '\0' && value > 0 && value <= 3600) return value;
  fprintf(stderr, "indicators: %s: a number above 0, up to 3600, is required\n", option);
  exit(2);
}

int main(int argc, char **argv) {
  bool once = false;
  double limit = 70;
  double period = 5;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--once") == 0) {
      once = true;
    } else if (strcmp(argv[i], "--limit") == 0) {
      limit = number(argv[i], argv[i + 1]);
      ++i;
    } else if (strcmp(argv[i], "--period") == 0) {
      period = number(argv[i], argv[i + 1]);
      ++i;
    } else {
      fprintf(stderr, "indicators: %s: unknown option\n", argv[i]);
      return 2;
    }
  }
  const struct sigaction action = {.sa_handler = stop};
  sigaction(SIGINT, &action, NULL);
  sigaction(SIGTERM, &action, NULL);
  const time_t seconds = (time_t)period;
  const struct timespec pause = {seconds, (long)((period - (double)seconds) * 1e9)};

  struct state now = look((struct state){0}, (float)limit);
  struct state before = now;
  bool shown = show(now);
  bool shown_before = shown;
  report(now, shown);
  while (!once && !stopped) {
    nanosleep(&pause, NULL); /* a signal ends it */
    now = look(before, (float)limit);
    shown = show(now);
    if (memcmp(&now, &before, sizeof now) != 0 || shown != shown_before) report(now, shown);
    before = now;
    shown_before = shown;
  }
  return now.readable && shown ? 0 : 1;
}
