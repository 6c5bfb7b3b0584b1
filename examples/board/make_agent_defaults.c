/* SPDX-License-Identifier: Apache-2.0 */
/* make_agent_defaults PLAIN_FILE FILE
 *
 * Copies the SNMP agent's factory settings and enciphers their secrets with the stand-in's key: the agent's store
 * refuses plain ones. The build runs it, so that people edit the plain file. A board's file needs the board's key. */
#include <json-c/json.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include "firmware/aes.h"

enum { kSecretRoom = 128, kLongestSecret = 20 };

static const char *const kSecrets[] = {"ReadOnlyCommunity", "ReadWriteCommunity", "AUTHPwd", "PRIVPwd"};

static bool encipher(json_object *settings, const char *name, const uint8_t *key, const uint8_t *vector) {
  json_object *plain = NULL;
  uint8_t cipher[kSecretRoom];
  int length = 0;
  if (!json_object_object_get_ex(settings, name, &plain) || json_object_get_string_len(plain) > kLongestSecret ||
      AES_EncryptData((const uint8_t *)json_object_get_string(plain), json_object_get_string_len(plain), cipher,
                      &length, key, vector) != 0) {
    (void)fprintf(stderr, "make_agent_defaults: %s cannot be enciphered\n", name);
    return false;
  }
  return json_object_object_add(settings, name, json_object_new_string_len((const char *)cipher, length)) == 0;
}

int main(int argc, char **argv) {
  json_object *root = argc == 3 ? json_object_from_file(argv[1]) : NULL;
  json_object *settings = NULL;
  uint8_t key[FIRMWARE_AES_KEY_SIZE];
  uint8_t vector[FIRMWARE_AES_VECTOR_SIZE];
  bool isDone = json_object_object_get_ex(root, "SnmpCfg", &settings) && AES_GetEncryptKey(key, sizeof key) == 0 &&
                AES_GetInitialVector(vector, sizeof vector) == 0;
  for (size_t i = 0; isDone && i < sizeof kSecrets / sizeof *kSecrets; ++i) {
    isDone = encipher(settings, kSecrets[i], key, vector);
  }
  isDone = isDone && json_object_to_file(argv[2], root) == 0;
  if (!isDone) {
    (void)fputs("make_agent_defaults: nothing made\n", stderr);
  }
  json_object_put(root);
  return isDone ? EXIT_SUCCESS : EXIT_FAILURE;
}
