/* SPDX-License-Identifier: Apache-2.0 */
/* board_card keep FILE NAME DIRECTORY
 * board_card mount | unmount | status | log FILE | store FILE NAME DIRECTORY | version DIRECTORY VERSION | list DIRECTORY
 * board_card documents MAX
 *
 * Works on the TF card. "keep" stores an image as a daemon should: it checks that the card is mounted and has space,
 * and leaves no partial image on it. Each other command makes one call of the library and prints its result and
 * outputs. */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vexora/storage.h"

enum { kMisused = 2, kMaxDocuments = 16 };

static const char kMountPoint[] = "/mnt/sdmmc0p2";
static const char kUnset[] = "unset";
static const int64_t kBytesPerKib = 1024;

static int report(const char *call, int result) {
  (void)printf("%s: %d\n", call, result);
  return result;
}

static int showStatus(void) {
  char place[VEXORA_CARD_MOUNT_POINT_SIZE];
  int64_t available = -1;
  (void)snprintf(place, sizeof place, "%s", kUnset);
  const int result = CheckTFCardMountStatus(place, &available);
  (void)printf("status: %d, %s, %" PRId64 " KiB\n", result, place, available);
  return result;
}

static int showImages(const char *directory) {
  char names[2 * VEXORA_CARD_IMAGE_NAME_SIZE];
  (void)snprintf(names, VEXORA_CARD_IMAGE_NAME_SIZE, "%s", kUnset);
  (void)snprintf(names + VEXORA_CARD_IMAGE_NAME_SIZE, VEXORA_CARD_IMAGE_NAME_SIZE, "%s", kUnset);
  const int result = common_get_file_list_from_tf_card(directory, names);
  (void)printf("list: %d, new %s, old %s\n", result, names, names + VEXORA_CARD_IMAGE_NAME_SIZE);
  return result;
}

static int showDocuments(int max) {
  static char names[kMaxDocuments + 1][VEXORA_CARD_DOC_NAME_SIZE];
  uint32_t count = 0;
  const int result = get_production_doc_from_tf_card(names[0], max < kMaxDocuments ? max : kMaxDocuments, &count);
  (void)printf("documents: %d, %" PRIu32 "\n", result, count);
  for (uint32_t i = 0; i < count; ++i) {
    (void)printf("  %s\n", names[i]);
  }
  return result;
}

static int complain(const char *why) {
  (void)fprintf(stderr, "board_card: %s\n", why);
  return EXIT_FAILURE;
}

/* Without the check of the mount point an image for an unmounted card would be stored in the root file system. */
static int keep(const char *file, const char *name, const char *directory) {
  char place[VEXORA_CARD_MOUNT_POINT_SIZE] = "";
  int64_t available = 0;
  struct stat source;
  if (stat(file, &source) != 0) {
    return complain("no such image");
  }
  if (common_mount_tf_card() != 0 || CheckTFCardMountStatus(place, &available) != 0 ||
      strcmp(place, kMountPoint) != 0) {
    return complain("no card is mounted");
  }
  int result = EXIT_SUCCESS;
  if (source.st_size / kBytesPerKib >= available) {
    result = complain("no space on the card");
  } else if (common_copy_ima_file_to_tf_card(file, name, directory) != 0) {
    /* A partial image would become the ".old" one at the next attempt, and the previous good image would be lost. */
    char part[256];
    (void)snprintf(part, sizeof part, "%s/%s/%s.new", kMountPoint, directory, name);
    (void)unlink(part);
    result = complain("not stored");
  }
  (void)common_umount_tf_card();
  return result;
}

int main(int argc, char **argv) {
  const char *const command = argc > 1 ? argv[1] : "";
  const int arguments = argc - 2;
  const char *const first = arguments > 0 ? argv[2] : "";
  if (strcmp(command, "mount") == 0 && arguments == 0) {
    return report(command, common_mount_tf_card());
  }
  if (strcmp(command, "unmount") == 0 && arguments == 0) {
    return report(command, common_umount_tf_card());
  }
  if (strcmp(command, "status") == 0 && arguments == 0) {
    return showStatus();
  }
  if (strcmp(command, "log") == 0 && arguments == 1) {
    return report(command, common_copy_log_to_tf_card(first));
  }
  if (strcmp(command, "store") == 0 && arguments == 3) {
    return report(command, common_copy_ima_file_to_tf_card(first, argv[3], argv[4]));
  }
  if (strcmp(command, "version") == 0 && arguments == 2) {
    return report(command, common_check_ima_file_version_tf_card(first, argv[3]));
  }
  if (strcmp(command, "list") == 0 && arguments == 1) {
    return showImages(first);
  }
  if (strcmp(command, "documents") == 0 && arguments == 1) {
    return showDocuments((int)strtol(first, NULL, 10));
  }
  if (strcmp(command, "keep") == 0 && arguments == 3) {
    return keep(first, argv[3], argv[4]);
  }
  (void)fprintf(stderr,
                "usage: board_card keep FILE NAME DIRECTORY\n"
                "       board_card mount | unmount | status | log FILE | store FILE NAME DIRECTORY\n"
                "       board_card version DIRECTORY VERSION | list DIRECTORY | documents MAX\n");
  return kMisused;
}
