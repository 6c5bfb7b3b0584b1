/* SPDX-License-Identifier: Apache-2.0 */
/* crashing_daemon
 *
 * A daemon with a bug: its worker thread writes through a null pointer. The library's signal handlers, which one call
 * at the start installs, print the report. */
#define _GNU_SOURCE

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>

#include "vexora/diag.h"

static const char kModule[] = "ZELDIAG";

/* Volatile: otherwise the compiler sees the bug. */
static int *volatile table;

static void *work(void *unused) {
  (void)pthread_setname_np(pthread_self(), "worker");
  table[0] = 1;
  return unused;
}

int main(void) {
  pthread_t worker;
  if (VexoraInitSignals(kModule, sizeof kModule - 1) != 0) {
    return EXIT_FAILURE;
  }
  (void)printf("crashing_daemon: started\n"); /* the report must flush this buffered line first */
  if (pthread_create(&worker, NULL, work, NULL) != 0) {
    return EXIT_FAILURE;
  }
  (void)pthread_join(worker, NULL);
  return EXIT_SUCCESS;
}
