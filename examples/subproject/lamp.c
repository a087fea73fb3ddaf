/* Switches the system LED on and shows what it reads back. */
#include <stdio.h>
#include <zelboard/zelboard.h>

int main(void) {
  uint8_t led = FW_LED_OFF;
  uint32_t result = FW_SetSystemLed(FW_LED_ON);
  if (result == 0) result = FW_GetSystemLed(&led);
  if (result != 0) {
    fprintf(stderr, "lamp: the system LED cannot be switched: 0x%X\n", result);
    return 1;
  }
  puts(led == FW_LED_ON ? "system LED on" : "system LED off");
  return 0;
}
