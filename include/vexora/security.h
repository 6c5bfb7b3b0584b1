/* SPDX-License-Identifier: Apache-2.0 */
/** Security primitives: passwords enciphered by the firmware, ECDSA signatures over SHA-256, MD5 digests of streams.
 *  docs/crypto.md says what each protects, and what is left to callers. */
#ifndef VEXORA_SECURITY_H
#define VEXORA_SECURITY_H

#include <stdint.h>
#include <stdio.h>

#include "vexora/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Passwords.
 *
 * Cipher and key are the firmware's. Whether passwords are kept enciphered at all is the firmware feature
 * "CONFIG_RVK_FEATURE_ENABLE_USERPSWD_ENCRYPTION", asked at every call: where it is off, a cipher call answers 0 and
 * changes nothing. Failures are reported as lines on standard output, never with a key or a password in them. Keys and
 * plain texts that a call holds are wiped before it returns. The calls are as safe in threads as the firmware's own. */

/** Longest password, in bytes. */
#define VEXORA_PASSWORD_MAX 64

/** Enciphers a password in place.
 *
 * @param buf  the password, `len` bytes, replaced by as many cipher bytes of any value without a terminator. The first
 *             byte is read whatever `len` is. NULL, or a first byte of 0, is refused; no message.
 * @param len  bytes, 0 to VEXORA_PASSWORD_MAX; anything else is refused; no message. While the feature is off it isn't
 *             looked at.
 * @return 0 when enciphered, or when the feature is off; -1 when an argument is refused, the key is not available or
 *         the cipher fails, with `buf` untouched.
 */
VEXORA_API int vexora_password_encrypt(uint8_t *buf, int len);

/** Deciphers in place what vexora_password_encrypt made; otherwise as it.
 *
 * Cipher bytes that begin with a 0 are refused like an empty password. A wrong key isn't noticed: it yields other
 * bytes.
 */
VEXORA_API int vexora_password_decrypt(uint8_t *buf, int len);

/** The same as vexora_password_decrypt. */
VEXORA_API int VexoraPwDecrypt(uint8_t *buf, int len);

/** Deciphers a base64 text with the caller's key.
 *
 * @param b64     the cipher bytes as base64, NUL-terminated; NULL or empty is refused. What decodes to no bytes gives
 *                an empty text. Of more than 255 decoded bytes only the first (their number modulo 256) are deciphered.
 * @param out     receives the plain text up to its first zero byte, padded with zeros to `outLen` bytes. Not terminated
 *                when the text has `outLen` bytes or more. Zero-filled when the call fails. NULL is refused; no
 *                message.
 * @param key     what the firmware's cipher takes: 56 bytes, or fewer ended by a NUL. NULL or empty is refused.
 * @param outLen  capacity of `out`, in bytes.
 * @return 0 when deciphered, or when the feature is off, with `out` untouched; -1 when an argument is refused, memory
 *         is short or the cipher fails.
 */
VEXORA_API int VexoraPwDecryptAndCyo(const char *b64, char *out, const uint8_t *key, uint32_t outLen);

/** Returns whether this system keeps passwords enciphered: 1 when "/var/blowfish" exists, else 0. */
VEXORA_API int GetEncryptCtrl(void);

/** Returns whether a password in the given state is acceptable on this system.
 *
 * @param isEnciphered  1 for an enciphered password; anything else is a plain one.
 * @return 0; -1 for a plain password where "/var/blowfish" exists.
 */
VEXORA_API int CheckEncryptValid(int isEnciphered);

/** Writes bytes as hexadecimal text, two lower-case digits each.
 *
 * @param bytes    `count` bytes; NULL is refused.
 * @param out      receives 2 * `count` digits and a terminator; must not overlap `bytes`. NULL is refused.
 * @param count    bytes; below 1 nothing is written, no terminator either.
 * @param outSize  capacity of `out`, the terminator included.
 * @return 0; -1 when `outSize` is below 2 * `count` + 1 (also for a `count` below 1) or an argument is refused, with
 *         `out` untouched.
 */
VEXORA_API int vexora_convert_hextostr(const uint8_t *bytes, char *out, int count, int outSize);

/* Signatures. Safe from any thread; a key may serve several calls at the same time. */

/** OpenSSL's EC_KEY. */
struct ec_key_st;

/** Loads a public key, and reports it on standard output.
 *
 * @param der  a SubjectPublicKeyInfo with an EC key, in DER. Its second byte states the content's length, at most 127:
 *             the caller guarantees that many bytes and two more. A larger second byte is no length, and refused; the
 *             first two bytes are all that is read then. NULL is refused.
 * @return the key, which the caller frees with OpenSSL's EC_KEY_free; NULL when `der` is NULL or its length 0 (no
 *         further message), when there is no memory for a key ("Create EcKey Failed."), and when no valid EC key is in
 *         `der` ("Key check failed."). A failed call keeps nothing, and leaves OpenSSL's error queue as it was.
 *
 * Keys are meant to be on the curve P-256. One on another curve is taken too, if its DER is that short.
 */
VEXORA_API struct ec_key_st *VexoraECDSAInit(const uint8_t *der);

/** Verifies an ECDSA signature over the SHA-256 digest of data.
 *
 * @param key        from VexoraECDSAInit; NULL is refused.
 * @param data       `dataLen` bytes; NULL is refused.
 * @param dataLen    1 or more; less is refused.
 * @param sig        the signature in DER, whose second byte states the content's length; NULL, and a length of 0, are
 *                   refused.
 * @param sigBufLen  bytes in `sig`, none beyond which is read. The signature may be shorter; a longer one is refused.
 * @return 1 when the signature is valid, 0 when not; 255 when an argument is refused, the signature isn't well-formed
 *         or the check couldn't be made. Only 1 means that the data is genuine. OpenSSL's error queue stays as it was.
 */
VEXORA_API uint8_t VexoraECDSAwithSHA256Verify(struct ec_key_st *key, const uint8_t *data, int dataLen,
                                               const uint8_t *sig, uint8_t sigBufLen);

/* MD5 of a stream. libcrypto is loaded anew for each digest, from "/usr/lib/arm-linux-gnueabi/libcrypto.so". Handle and
 * functions are the process's, without a lock: callers let one digest end before the next begins. */

/** Bytes of a digest. */
#define VEXORA_MD5_SIZE 16

/** One of libcrypto's functions by name. */
typedef struct vexora_md5_symbol {
  uint16_t slot;  /**< its place in g_Md5Handle */
  char name[256]; /**< padded with zeros */
} vexora_md5_symbol;

/** A resolved function; cast to its type in OpenSSL's md5.h. */
typedef void (*vexora_md5_function)(void); /* NOLINT(modernize-redundant-void-arg): C reads it, too */

/** What is resolved, in this order: 0 "MD5_Init", 1 "MD5_Update", 2 "MD5_Final". */
extern VEXORA_API vexora_md5_symbol g_Md5Initialize[3];

/** The resolved functions. Meaningful only between a successful vexora_initialize_md5library and the next close. */
extern VEXORA_API vexora_md5_function g_Md5Handle[3];

/** The loaded libcrypto; NULL while there is none. */
extern VEXORA_API void *dl_md5;

/** Loads libcrypto, unless it is loaded already, and resolves its MD5 functions. No message.
 *
 * @return 0; -1 when the library can't be loaded or lacks a function. It is then closed and `dl_md5` is NULL.
 */
VEXORA_API int vexora_initialize_md5library(void);

/** Closes what vexora_initialize_md5library loaded.
 *
 * @return 0, also when nothing was loaded; otherwise the result of dlclose, and `dl_md5` is NULL all the same.
 */
VEXORA_API int vexora_close_md5library(void);

/** Computes the MD5 digest of a stream's next bytes. Failures are reported on standard output.
 *
 * @param stream  read from its current position; NULL is refused, no message. Signals don't cut the reading short.
 * @param length  bytes to digest. A stream that ends or fails earlier gives the digest of the bytes read so far.
 * @param digest  receives VEXORA_MD5_SIZE bytes; NULL is refused, no message. A failed call leaves it untouched.
 * @return 0 when the digest was written; -1 when an argument is refused, libcrypto can't be loaded or one of its
 *         functions fails. When the digest was written but libcrypto can't be closed, the result of dlclose.
 *
 * libcrypto is closed at the end, whoever loaded it. MD5 finds accidents, not attacks: use a signature against those.
 */
VEXORA_API int vexora_calcmd5_checksum(FILE *stream, uint32_t length, uint8_t digest[VEXORA_MD5_SIZE]);

#ifdef __cplusplus
}
#endif

#endif
