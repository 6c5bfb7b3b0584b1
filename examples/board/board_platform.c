/* SPDX-License-Identifier: Apache-2.0 */
/* board_platform fru IMAGE
 * board_platform unpack uefi|tiano IMAGE FILE
 * board_platform verify KEY FILE SIGNATURE
 * board_platform advice SENSOR_TYPE SENSOR_NUMBER EVENT_CODE
 *
 * A daemon's work on platform data: shows an inventory image, unpacks a compressed firmware image, checks a file's
 * signature before it is used, and shows the advice for an event, whose numbers are hexadecimal. */
#define _POSIX_C_SOURCE 200809L
#define OPENSSL_API_COMPAT 0x10100000L /* EC_KEY, the library's key type, is deprecated in OpenSSL 3 */

#include <openssl/ec.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "vexora/platform.h"
#include "vexora/security.h"

enum {
  kMostFile = 64 << 20,
  kMostPlain = 256 << 20, /* a header can promise 4 GiB */
  kKeyRoom = 256,         /* hazard: the library reads as many bytes as a key's second byte says */
  kMostField = 63,
  kAnySensor = 0xff,
};

struct Bytes {
  uint8_t *data; /* NULL after a failure */
  size_t size;
};

static int complain(const char *what, const char *why) {
  (void)fprintf(stderr, "board_platform: %s: %s\n", what, why);
  return EXIT_FAILURE;
}

/* Reads a file of 1 to `most` bytes and pads it with zeros to `room`. The caller frees the data; NULL on failure. */
static struct Bytes readFile(const char *path, size_t most, size_t room) {
  struct Bytes bytes = {NULL, 0};
  FILE *file = fopen(path, "rb");
  if (file != NULL && fseek(file, 0, SEEK_END) == 0) {
    const long size = ftell(file);
    if (size > 0 && (size_t)size <= most && fseek(file, 0, SEEK_SET) == 0) {
      bytes.size = (size_t)size;
      bytes.data = calloc(1, bytes.size > room ? bytes.size : room);
    }
    if (bytes.data != NULL && fread(bytes.data, 1, bytes.size, file) != bytes.size) {
      free(bytes.data);
      bytes.data = NULL;
    }
  }
  if (file != NULL) {
    (void)fclose(file);
  }
  if (bytes.data == NULL) {
    (void)complain(path, "cannot be read, is empty or too large");
  }
  return bytes;
}

typedef int FruGetter(const uint8_t *fru, int fruLen, int field, uint8_t *out, int outMax, uint8_t *outTypeLen);

struct FruField {
  const char *name;
  FruGetter *get;
  int field;
};

static const struct FruField kFruFields[] = {
    {"chassis type", vexora_get_fru_chassis_info, VEXORA_FRU_CHASSIS_TYPE},
    {"chassis part number", vexora_get_fru_chassis_info, VEXORA_FRU_CHASSIS_PART_NUMBER},
    {"chassis serial number", vexora_get_fru_chassis_info, VEXORA_FRU_CHASSIS_SERIAL_NUMBER},
    {"chassis custom field", vexora_get_fru_chassis_info, VEXORA_FRU_CHASSIS_CUSTOM},
    {"board made", vexora_get_fru_board_info, VEXORA_FRU_BOARD_DATE},
    {"board manufacturer", vexora_get_fru_board_info, VEXORA_FRU_BOARD_MANUFACTURER},
    {"board product name", vexora_get_fru_board_info, VEXORA_FRU_BOARD_PRODUCT_NAME},
    {"board serial number", vexora_get_fru_board_info, VEXORA_FRU_BOARD_SERIAL_NUMBER},
    {"board part number", vexora_get_fru_board_info, VEXORA_FRU_BOARD_PART_NUMBER},
    {"product manufacturer", vexora_get_fru_product_info, VEXORA_FRU_PRODUCT_MANUFACTURER},
    {"product name", vexora_get_fru_product_info, VEXORA_FRU_PRODUCT_NAME},
    {"product part number", vexora_get_fru_product_info, VEXORA_FRU_PRODUCT_PART_NUMBER},
    {"product version", vexora_get_fru_product_info, VEXORA_FRU_PRODUCT_VERSION},
    {"product serial number", vexora_get_fru_product_info, VEXORA_FRU_PRODUCT_SERIAL_NUMBER},
    {"product asset tag", vexora_get_fru_product_info, VEXORA_FRU_PRODUCT_ASSET_TAG},
};

static void printDate(const uint8_t *data) {
  static const time_t kFirst = 820454400; /* 1996-01-01 00:00 UTC */
  const time_t seconds = kFirst + (time_t)(data[0] | data[1] << 8 | data[2] << 16) * 60;
  struct tm parts;
  char text[32] = "";
  if (gmtime_r(&seconds, &parts) != NULL) {
    (void)strftime(text, sizeof text, "%F %R", &parts);
  }
  (void)printf("%s\n", text);
}

/* A character has six bits, the lowest first. */
static void printPacked(const uint8_t *data, unsigned length) {
  for (unsigned bit = 0; bit + 6 <= length * 8; bit += 6) {
    const unsigned above = bit / 8 + 1 < length ? data[bit / 8 + 1] : 0U;
    (void)putchar(' ' + (int)((data[bit / 8] | above << 8) >> bit % 8 & 0x3f));
  }
  (void)putchar('\n');
}

static void printEncoded(uint8_t typeLength, const uint8_t *data) {
  const unsigned length = typeLength & 0x3f;
  char hex[2 * kMostField + 1] = "";
  switch (typeLength >> 6) {
    case 0:
      (void)vexora_convert_hextostr(data, hex, (int)length, sizeof hex);
      (void)puts(hex);
      break;
    case 1: /* BCD plus: two digits per byte, and three more characters */
      for (unsigned i = 0; i < length; ++i) {
        (void)printf("%c%c", "0123456789 -.???"[data[i] >> 4], "0123456789 -.???"[data[i] & 0xf]);
      }
      (void)putchar('\n');
      break;
    case 2:
      printPacked(data, length);
      break;
    default: /* foreign bytes must not control the terminal */
      for (unsigned i = 0; i < length; ++i) {
        (void)putchar(data[i] >= ' ' && data[i] <= '~' ? data[i] : '?');
      }
      (void)putchar('\n');
  }
}

/* Damaged areas are found only here: the getters check the image's header and bounds, but not the areas' checksums. An
 * area's second byte is its length, in units of 8 bytes like its offset. */
static bool areAreasSound(const struct Bytes *image) {
  static const int kOffsets[] = {2, 3, 4};
  for (size_t i = 0; i < sizeof kOffsets / sizeof *kOffsets; ++i) {
    const size_t begin = image->data[kOffsets[i]] * 8U;
    if (begin == 0) {
      continue;
    }
    const size_t size = begin + 2 <= image->size ? image->data[begin + 1] * 8U : 0;
    if (size == 0 || size > image->size - begin || vexora_checksum_calc(image->data + begin, (uint32_t)size) != 0) {
      return false;
    }
  }
  return true;
}

static int showFru(char **arguments) {
  const struct Bytes image = readFile(arguments[0], kMostFile, 0);
  if (image.data == NULL) {
    return EXIT_FAILURE;
  }
  const bool isSound = vexora_check_fru_common_header(image.data, (int)image.size) == 0 && areAreasSound(&image);
  int result = isSound ? EXIT_SUCCESS : complain(arguments[0], "no sound inventory image");
  for (size_t i = 0; result == EXIT_SUCCESS && i < sizeof kFruFields / sizeof *kFruFields; ++i) {
    const struct FruField *field = &kFruFields[i];
    uint8_t data[kMostField] = {0};
    uint8_t typeLength = 0;
    if (field->get(image.data, (int)image.size, field->field, data, sizeof data, &typeLength) != 0) {
      result = complain(field->name, "runs past the image");
    } else if ((typeLength & 0x3f) != 0) {
      (void)printf("%s: ", field->name);
      if (field->get == vexora_get_fru_board_info && field->field == VEXORA_FRU_BOARD_DATE) {
        printDate(data);
      } else {
        printEncoded(typeLength, data);
      }
    }
  }
  free(image.data);
  return result;
}

static int unpackInto(const char *path, uint32_t form, const uint8_t *image, uint32_t plainSize, uint32_t scratchSize) {
  uint8_t *plain = malloc(plainSize);
  void *scratch = malloc(scratchSize);
  FILE *file = NULL;
  int result = EXIT_FAILURE;
  if (plain == NULL || scratch == NULL || UefiTianoDecompress(image, plain, scratch, form) != 0) {
    (void)complain("image", "cannot be unpacked");
  } else if ((file = fopen(path, "wb")) == NULL || fwrite(plain, 1, plainSize, file) != plainSize) {
    (void)complain(path, "cannot be written");
  } else {
    result = EXIT_SUCCESS;
  }
  if (file != NULL && fclose(file) != 0) {
    result = complain(path, "cannot be written");
  }
  free(scratch);
  free(plain);
  return result;
}

static int unpack(char **arguments) {
  const uint32_t form = strcmp(arguments[0], "tiano") == 0 ? VEXORA_TIANO_FORM : VEXORA_UEFI_FORM;
  const struct Bytes image = readFile(arguments[1], kMostFile, 0);
  uint32_t plainSize = 0;
  uint32_t scratchSize = 0;
  if (image.data == NULL) {
    return EXIT_FAILURE;
  }
  int result = EXIT_FAILURE;
  if (UefiDecompressGetInfo(image.data, (uint32_t)image.size, &plainSize, &scratchSize) != 0) {
    (void)complain(arguments[1], "is no whole image");
  } else if (plainSize == 0 || plainSize > kMostPlain) {
    (void)complain(arguments[1], "promises nothing, or too much");
  } else {
    result = unpackInto(arguments[2], form, image.data, plainSize, scratchSize);
  }
  free(image.data);
  return result;
}

/* The result is not a boolean: only 1 means genuine, every other value is a refusal or a failure. */
static bool isGenuine(const struct Bytes *key, const struct Bytes *file, const struct Bytes *signature) {
  EC_KEY *publicKey = VexoraECDSAInit(key->data);
  const uint8_t verdict =
      VexoraECDSAwithSHA256Verify(publicKey, file->data, (int)file->size, signature->data, (uint8_t)signature->size);
  EC_KEY_free(publicKey);
  return verdict == 1;
}

static int verify(char **arguments) {
  const struct Bytes key = readFile(arguments[0], kKeyRoom, kKeyRoom);
  const struct Bytes file = readFile(arguments[1], kMostFile, 0);
  const struct Bytes signature = readFile(arguments[2], UINT8_MAX, 0);
  int result = EXIT_FAILURE;
  if (key.data != NULL && file.data != NULL && signature.data != NULL) {
    result = isGenuine(&key, &file, &signature) ? EXIT_SUCCESS : complain(arguments[1], "not what its maker signed");
  }
  if (result == EXIT_SUCCESS) {
    (void)puts("genuine");
  }
  free(signature.data);
  free(file.data);
  free(key.data);
  return result;
}

/* Returns the record for this sensor, else the one for all sensors of its type, else NULL. */
static const vexora_idl_advice *findAdvice(const vexora_idl_advice *table, const unsigned long event[3]) {
  const vexora_idl_advice *found = NULL;
  for (int i = GetIdlAdviserArrayNum() - 1; i >= 0; --i) {
    const vexora_idl_advice *record = &table[i];
    if (record->sensor_type != event[0] || record->event_code != event[2]) {
      continue;
    }
    if (record->sensor_number == event[1]) {
      return record;
    }
    if (record->sensor_number == kAnySensor) {
      found = record;
    }
  }
  return found;
}

static int advise(char **arguments) {
  unsigned long event[3];
  for (int i = 0; i < 3; ++i) {
    event[i] = strtoul(arguments[i], NULL, 16);
  }
  vexora_idl_advice *table = malloc(VEXORA_IDL_ADVICE_TABLE);
  if (table == NULL || GetIdlAdviserArray((uint8_t *)table) != 0) {
    free(table);
    return complain("advice", "no memory");
  }
  const vexora_idl_advice *record = findAdvice(table, event);
  if (record != NULL) {
    (void)printf("level %02x\n%s\n", record->level, record->advice);
  }
  const int result = record != NULL ? EXIT_SUCCESS : complain("advice", "none for such an event");
  free(table);
  return result;
}

static const struct Command {
  const char *name;
  int arguments;
  int (*run)(char **arguments);
} kCommands[] = {{"fru", 1, showFru}, {"unpack", 3, unpack}, {"verify", 3, verify}, {"advice", 3, advise}};

int main(int argc, char **argv) {
  (void)setvbuf(stdout, NULL, _IOLBF, 0); /* the library's messages come before ours */
  for (size_t i = 0; argc >= 2 && i < sizeof kCommands / sizeof *kCommands; ++i) {
    if (strcmp(argv[1], kCommands[i].name) == 0 && argc == 2 + kCommands[i].arguments) {
      return kCommands[i].run(argv + 2);
    }
  }
  return complain("usage",
                  "fru IMAGE | unpack uefi|tiano IMAGE FILE | verify KEY FILE SIGNATURE | advice TYPE NUMBER CODE");
}
