// A program that asks the drivers and prints a sum of their answers: caller MODE COUNT.
#define _GNU_SOURCE
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

enum { kRecord = 140, kLen = 128, kAddress = 129, kOffset = 132, kOffsetLen = 136 };

static uint64_t add(uint64_t sum, const void *bytes, size_t size) {
  const uint8_t *byte = bytes;
  for (size_t i = 0; i < size; ++i) sum = sum * 31 + byte[i];
  return sum;
}

static int request(int fd, unsigned number, void *record) { return ioctl(fd, 0x40012400u | number, record); }

static int read_chip(int i2c, uint8_t address, uint8_t offset, uint8_t len, uint8_t *record) {
  memset(record, 0, kRecord);
  record[kLen] = len;
  record[kAddress] = address;
  record[kOffset] = offset;
  record[kOffsetLen] = 1;
  return request(i2c, 0xb0, record);
}

// Four calls a round, of which the LED's value depends on who asks.
static uint64_t ask(unsigned rounds, unsigned who) {
  int gpio = open("/dev/zel_gpio", O_RDWR), i2c = open("/dev/zel_i2c", O_RDWR);
  uint64_t sum = 0;
  for (unsigned i = 0; i < rounds; ++i) {
    uint8_t led = (uint8_t)((i + who) % 3), status = 0, record[kRecord];
    int results[4];
    results[0] = request(gpio, 0x82, &led);
    results[1] = request(gpio, 0x98, &status);
    results[2] = read_chip(i2c, 0x9e, 0, 2, record);
    sum = add(add(sum, &status, 1), record, kRecord);
    results[3] = read_chip(i2c, 0xa0, (uint8_t)i, 16, record);
    usleep(1000);
    sum = add(add(sum, record, kRecord), results, sizeof results);
  }
  close(gpio);
  close(i2c);
  return sum;
}

static uint64_t ask_flash(unsigned rounds) {
  int fd = open("/dev/zel_spi_flash", O_RDWR);
  uint8_t page[256], back[4096];
  uint64_t sum = 0;
  for (unsigned i = 0; i < rounds; ++i) {
    off_t at = 0x1ff0000 + 256 * (off_t)(i % 16);
    memset(page, (int)i, sizeof page);
    if (i % 16 == 0 && lseek(fd, at, SEEK_SET) == at) request(fd, 0xd1, NULL);
    off_t moved = lseek(fd, at, SEEK_SET);
    ssize_t written = write(fd, page, sizeof page);
    lseek(fd, 0x123000, SEEK_SET);
    ssize_t count = read(fd, back, sizeof back);
    sum = add(sum, back, count > 0 ? (size_t)count : 0) + (uint64_t)moved + (uint64_t)written;
  }
  close(fd);
  return sum + (uint64_t)system("debugCmd sgpio_set 1 3 1");
}

static unsigned rounds_of_thread;
static void *thread_body(void *who) {
  uint64_t sum = ask(rounds_of_thread, (unsigned)(uintptr_t)who);
  return (void *)(uintptr_t)sum;
}

static void ask_in_threads(unsigned rounds) {
  pthread_t threads[4];
  rounds_of_thread = rounds;
  for (uintptr_t i = 0; i < 4; ++i) pthread_create(&threads[i], NULL, thread_body, (void *)i);
  for (int i = 0; i < 4; ++i) {
    void *sum;
    pthread_join(threads[i], &sum);
    printf("thread %d: %llx\n", i, (unsigned long long)(uintptr_t)sum);
  }
}

static void ask_in_processes(unsigned rounds) {
  for (unsigned i = 0; i < 3; ++i) {
    fflush(stdout);
    if (fork() == 0) {
      printf("process %u: %llx\n", i, (unsigned long long)ask(rounds, i));
      fflush(stdout);
      _exit(0);
    }
  }
  while (wait(NULL) > 0) continue;
}

// One request and the pause that the library makes behind it.
static void pause_like_the_library(unsigned rounds) {
  int i2c = open("/dev/zel_i2c", O_RDWR);
  uint8_t record[kRecord];
  for (unsigned i = 0; i < rounds; ++i) {
    read_chip(i2c, 0x9e, 0, 2, record);
    usleep(5000);
  }
}

// Sends a record: NODE NUMBER BYTES, both hexadecimal. Prints the result and the first byte of the record.
static void send_record(char **words) {
  uint8_t record[kRecord] = {0};
  for (size_t i = 0; i < strlen(words[2]) / 2; ++i) {
    const char digits[3] = {words[2][2 * i], words[2][2 * i + 1]};
    record[i] = (uint8_t)strtoul(digits, NULL, 16);
  }
  int fd = open(words[0], O_RDWR);
  int result = request(fd, (unsigned)strtoul(words[1], NULL, 16), record);
  close(fd);
  printf("%d %02x\n", result, record[0]);
}

int main(int argc, char **argv) {
  const char *mode = argc > 1 ? argv[1] : "";
  unsigned count = argc > 2 ? (unsigned)strtoul(argv[2], NULL, 10) : 1;
  if (strcmp(mode, "ask") == 0) printf("%llx\n", (unsigned long long)ask(count, 0));
  if (strcmp(mode, "flash") == 0) printf("%llx\n", (unsigned long long)ask_flash(count));
  if (strcmp(mode, "threads") == 0) ask_in_threads(count);
  if (strcmp(mode, "processes") == 0) ask_in_processes(count);
  if (strcmp(mode, "pause") == 0) pause_like_the_library(count);
  if (strcmp(mode, "killed") == 0 && ask(count, 0) != 1) raise(SIGKILL);
  if (strcmp(mode, "status") == 0) _exit(7);
  if (strcmp(mode, "send") == 0) {
    for (int i = 2; i + 2 < argc; i += 3) send_record(argv + i);
  }
  return 0;
}
