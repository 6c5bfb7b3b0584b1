/* SPDX-License-Identifier: Apache-2.0 */
/** Platform data: FRU images, compressed firmware images, readings of power devices, the table of fault-handling
 *  advice, and variables that the daemons share. docs/advice-catalogue.md says where the advice comes from. */
#ifndef VEXORA_PLATFORM_H
#define VEXORA_PLATFORM_H

#include <stdint.h>

#include "vexora/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Readings. */

/** Converts a reading in the PMBus LINEAR11 format (PMBus Power System Management Protocol, Part II) to a number.
 *
 * The mantissa is unsigned, all 32 bits of it: for negative readings the caller takes the sign off the 11-bit field
 * before the call and puts it on the result.
 *
 * @param mantissa  the factor.
 * @param exponent  the 5-bit exponent field, 0 to 31, of which 16 to 31 mean -16 to -1; higher bits are ignored.
 * @param out       receives mantissa times two to the power of the exponent, in single precision, rounded to nearest;
 *                  with NULL the call does nothing.
 * @return 0, always.
 *
 * Safe from any thread and from signal handlers.
 */
VEXORA_API int PMBUS_LinearFormatDataCalc(uint32_t mantissa, uint32_t exponent, float *out);

/* Advice against sensor events. How an event finds its record, and whether 0xFF in a key means any value, is settled by
 * the daemons that look; the order of the records is fixed. */

/** Records of the table. */
#define VEXORA_IDL_ADVICE_RECORDS 255
/** Bytes of a record's text field. */
#define VEXORA_IDL_ADVICE_TEXT 2048
/** Bytes of the whole table. */
#define VEXORA_IDL_ADVICE_TABLE 523260

/** What to do about an event: 2052 bytes without padding between or after the fields. */
typedef struct vexora_idl_advice {
  uint8_t sensor_type;   /**< IPMI sensor type code, or one of the firmware's own from 0xC0 on */
  uint8_t sensor_number; /**< 0xFF in most records */
  uint8_t event_code;    /**< IPMI event offset, or a code of the firmware's own */
  uint8_t level;         /**< 0, 1, 2 or 0xFF */
  /** Lines separated by single line feeds, none after the last: "Step1:", "Step2:" and so on, at most seven, or the one
   *  line "Normal system information,do not need to deal with."; padded with NUL characters, one at least. */
  char advice[VEXORA_IDL_ADVICE_TEXT];
} vexora_idl_advice;

/** Returns how many records the table has.
 *
 * @return VEXORA_IDL_ADVICE_RECORDS.
 *
 * Safe from any thread and from signal handlers.
 */
VEXORA_API int GetIdlAdviserArrayNum(void);

/** Copies the whole table.
 *
 * @param dst  receives VEXORA_IDL_ADVICE_RECORDS records of type vexora_idl_advice one after the other, together
 *             VEXORA_IDL_ADVICE_TABLE bytes, at any alignment; NULL is refused.
 * @return 0; -1 when `dst` is NULL.
 *
 * Safe from any thread and from signal handlers.
 */
VEXORA_API int GetIdlAdviserArray(uint8_t *dst);

/** @name Shared variables
 * @{ */
/** One of the variables that the programs of the firmware share through the library: zero or NULL when it is loaded.
 *  The programs own them, give them their meaning and serialise their use; the library neither reads nor writes them.
 */
extern VEXORA_API int32_t DEVICE_COOLING_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_ACPI_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_ADDIN_CARD_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_BMC_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_BOOT_ERROR_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_BOOT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_CPLD_SELFTEST_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_FAN_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_HDD_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_INTRUSION_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_LAN_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_LOG_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_MAINBOARD_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_MEM_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_ME_STATUS_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_OS_BOOT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_PCH_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_PCIE_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_PFR_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_POWER_BUTTON_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_PSU_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_SECUIRTY_VIOLATION;
extern VEXORA_API int32_t DEVICE_TYPE_SUBSYSTEM_HEALTH_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_SYSTEM_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_SYSTEM_FW_PROGRESS_EVENT_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_VERSION_CHANGE_OFFSET;
extern VEXORA_API int32_t DEVICE_TYPE_WATCHDOG1_OFFSET;
extern VEXORA_API int32_t IPMIMainReqType;
extern VEXORA_API int32_t MCA_TRIGGER_TYPE;
extern VEXORA_API int32_t sensor_node_special_status;

extern VEXORA_API void *pISCSIAttemptParamBuf;
extern VEXORA_API void *pInitiatorParamBuf;
extern VEXORA_API void *pTargetParamBuf;
extern VEXORA_API void *pVersionParamBuf;
/** @} */

/* FRU inventory images, as the IPMI Platform Management FRU Information Storage Definition 1.0 has them.
 *
 * A getter copies one field out of an area, undecoded: the type/length byte that comes with it gives the encoding in
 * bits 6 and 7 and the number of bytes in the image in bits 0 to 5. Areas are found by the common header, whose version
 * and checksum are checked; an area's own are not. No byte beyond `fruLen` is read. What is wrong with arguments,
 * header or area offset is reported on standard output. Safe from any thread. */

/** The chassis area's fields. */
enum {
  VEXORA_FRU_CHASSIS_TYPE = 1, /**< one byte; its type/length output is 1 */
  VEXORA_FRU_CHASSIS_PART_NUMBER,
  VEXORA_FRU_CHASSIS_SERIAL_NUMBER,
  VEXORA_FRU_CHASSIS_CUSTOM /**< the first custom field; where there is none, nothing and a type/length output of 0 */
};

/** The board area's fields. */
enum {
  VEXORA_FRU_BOARD_DATE = 1, /**< minutes since 1996-01-01 00:00 as 3 bytes, low byte first; type/length output 3 */
  VEXORA_FRU_BOARD_MANUFACTURER,
  VEXORA_FRU_BOARD_PRODUCT_NAME,
  VEXORA_FRU_BOARD_SERIAL_NUMBER,
  VEXORA_FRU_BOARD_PART_NUMBER
};

/** The product area's fields. */
enum {
  VEXORA_FRU_PRODUCT_MANUFACTURER = 1,
  VEXORA_FRU_PRODUCT_NAME,
  VEXORA_FRU_PRODUCT_PART_NUMBER,
  VEXORA_FRU_PRODUCT_VERSION,
  VEXORA_FRU_PRODUCT_SERIAL_NUMBER,
  VEXORA_FRU_PRODUCT_ASSET_TAG,
  /** The field whose type/length byte follows the one of the FRU file ID, which has to be empty: the first custom
   *  field. Where there is none, the end marker, C1h, is taken for a field of one byte. */
  VEXORA_FRU_PRODUCT_CUSTOM
};

/** Checks an image's common header: format version 1 and a zero checksum.
 *
 * @param fru     the image, `fruLen` bytes; NULL is refused.
 * @param fruLen  bytes; below 8 is refused.
 * @return 0; -1 when an argument is refused or the header isn't valid.
 */
VEXORA_API int vexora_check_fru_common_header(const uint8_t *fru, int fruLen);

/** Reads a field of the chassis area.
 *
 * @param fru         the image, `fruLen` bytes; NULL is refused.
 * @param fruLen      bytes; below 8 is refused.
 * @param field       VEXORA_FRU_CHASSIS_*; others are refused.
 * @param out         receives the field's first `outMax` bytes, without a terminator; NULL is refused.
 * @param outMax      capacity in bytes; below 1 is refused.
 * @param outTypeLen  receives the field's type/length byte, with its length in the image even where `outMax` is less; 0
 *                    when there is no such area, and nothing is then copied. NULL is refused.
 * @return 0; -1 when an argument is refused, the header isn't valid, or the area or a field up to this one would run
 *         past `fruLen` (reported for the area's offset only). Both outputs are then untouched.
 */
VEXORA_API int vexora_get_fru_chassis_info(const uint8_t *fru, int fruLen, int field, uint8_t *out, int outMax,
                                           uint8_t *outTypeLen);

/** Reads a field of the board area, VEXORA_FRU_BOARD_*; otherwise as vexora_get_fru_chassis_info. */
VEXORA_API int vexora_get_fru_board_info(const uint8_t *fru, int fruLen, int field, uint8_t *out, int outMax,
                                         uint8_t *outTypeLen);

/** Reads a field of the product area, VEXORA_FRU_PRODUCT_*; otherwise as vexora_get_fru_chassis_info. */
VEXORA_API int vexora_get_fru_product_info(const uint8_t *fru, int fruLen, int field, uint8_t *out, int outMax,
                                           uint8_t *outTypeLen);

/** Computes the zero checksum: the byte that makes the sum of the bytes and itself 0, modulo 256.
 *
 * @param data   `count` bytes; NULL is refused, whatever `count` is.
 * @param count  bytes; 0 gives 0.
 * @return the checksum; 255, reported on standard output, when `data` is refused.
 */
VEXORA_API uint8_t vexora_checksum_calc(const uint8_t *data, uint32_t count);

/** Computes the zero checksum of at most 256 bytes.
 *
 * @param data   the bytes; read unchecked.
 * @param count  bytes; 0 gives 0. A count above 256 covers (`count` - 1) modulo 256 + 1 bytes.
 * @return the checksum.
 */
VEXORA_API uint8_t cal_zerosum(const uint8_t *data, uint32_t count);

/* UEFI decompression.
 *
 * A compressed image is two 32-bit little-endian sizes, of the bit stream and of the plain data, and the bit stream:
 * LZ77 matches under static Huffman codes in blocks, which the UEFI specification defines in its chapter on
 * compression. It may begin at any address. There are two forms, which an image does not identify.
 *
 * Ask UefiDecompressGetInfo first: it alone knows how many bytes there are, so it alone can refuse a header that
 * promises more. Then allocate a destination and a scratch area of the sizes it gives, and decompress. The calls
 * allocate nothing and keep nothing, so any threads may make them, each with a destination and a scratch area of its
 * own. They aren't for signal handlers: decompression prints on standard output. */

/** Size of the scratch area in bytes. */
#define VEXORA_UEFI_SCRATCH_SIZE 13376

/** The form of the UEFI specification: distances up to 8 KiB. */
#define VEXORA_UEFI_FORM 1
/** The Tiano form: distances up to 512 KiB. */
#define VEXORA_TIANO_FORM 2

/** Returns the sizes that the decompression of an image needs.
 *
 * @param source            the image; NULL is refused.
 * @param source_size       its size in bytes; less than the header's 8 is refused. Bytes after the bit stream are fine.
 * @param destination_size  receives the size of the plain data in bytes; NULL is refused.
 * @param scratch_size      receives VEXORA_UEFI_SCRATCH_SIZE; NULL is refused.
 * @return 0; -1, with nothing stored, when an argument is refused or the image is shorter than its header says.
 */
VEXORA_API int UefiDecompressGetInfo(const void *source, uint32_t source_size, uint32_t *destination_size,
                                     uint32_t *scratch_size);

/** Decompresses an image.
 *
 * Prints a line with the sizes and one with the stream's first 32 bits on standard output, the second unless it returns
 * before it decodes. Stops with the last byte of plain data, whatever follows it in the stream. A stream that ends
 * before is read on as zeros, so one that is cut gives either wrong data or a failure.
 *
 * @param source       the image, complete as UefiDecompressGetInfo found it; NULL is refused, and nothing printed.
 * @param destination  receives the plain data, all of it when 0 is returned. When the stream is bad it holds what came
 *                     before the fault, and what follows that is untouched. NULL is refused unless there is no plain
 *                     data.
 * @param scratch      VEXORA_UEFI_SCRATCH_SIZE bytes at any address, for the call's own use; what it leaves there means
 *                     nothing. NULL is refused unless there is no plain data. The three areas don't overlap.
 * @param version      VEXORA_UEFI_FORM or VEXORA_TIANO_FORM. Another is refused, with the scratch area zeroed and the
 *                     destination untouched. The wrong one of the two fails or gives wrong data.
 * @return 0, also for any version when there is no plain data: the areas are untouched then. -1 when an argument is
 *         refused or the stream is bad: a code with a length above 16 or with lengths that don't make it complete, a
 *         symbol that the format doesn't have, or a match from before the destination's beginning.
 */
VEXORA_API int UefiTianoDecompress(const void *source, void *destination, void *scratch, uint32_t version);

/** UefiTianoDecompress with version VEXORA_UEFI_FORM. */
VEXORA_API int UefiDecompress(const void *source, void *destination, void *scratch);

#ifdef __cplusplus
}
#endif

#endif
