/* SPDX-License-Identifier: Apache-2.0 */
/** Text: checks of what users supply, the words of the settings' enumerations, and string, path and time utilities. */
#ifndef VEXORA_TEXT_H
#define VEXORA_TEXT_H

#include <stddef.h>
#include <stdint.h>
#include <time.h>

#include "vexora/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Word tables.
 *
 * Settings that are stored as small numbers, and shown to and accepted from users as fixed words. A word's number is
 * its slot, from 0. A slot may be empty (NULL): it matches no text and gives no word. The arrays can be written; the
 * library never does, and each lookup reads its table as it is at the call. A program may hold the arrays in its own
 * image, so their sizes never change. */

/** SNMPv3 authentication: "SHA", "MD5", "NONE", "SHA256", "SHA384", "SHA512". */
extern VEXORA_API const char *AuthProtocols[6];

/** What names the host: "HostName", "SerialNum", "AssetTag". */
extern VEXORA_API const char *HostIDs[3];

/** SNMPv3 privacy: "AES", "DES", "NONE", "AES128". */
extern VEXORA_API const char *PrivProtocols[4];

/** "Disable", "Enable". */
extern VEXORA_API const char *EnableStr[2];

/** "disable", "enable". */
extern VEXORA_API const char *EnabledStrLittleLetter[2];

/** "manual", "auto". */
extern VEXORA_API const char *AutoStrLittleLetter[2];

/** What names the host in syslog records: "HostName", "SerialNumber", "PartNumber". */
extern VEXORA_API const char *SyslogTagStr[3];

/** "SyslogEnable", "LocalEnable", "RemoteEnable". */
extern VEXORA_API const char *SyslogEnableStr[3];

/** Syslog transports: "UDP", "TCP", "TLSOneWay", "TLSTwoWay" and two empty slots. */
extern VEXORA_API const char *SyslogProtocalStr[6];

/** Logs that go to syslog: "None", "Idl", "Audit", "Idl + Audit". */
extern VEXORA_API const char *SyslogTypeStr[4];

/** "Info", "Warning", "Critical", "Alert". */
extern VEXORA_API const char *SyslogLevelStr[4];

/** "Disable", "V1", "V2C", "V3". */
extern VEXORA_API const char *TrapVersionStr[4];

/** Video compression, the strongest first: "High", "Normal", "Low", "No". */
extern VEXORA_API const char *CompressionModeStr[4];

/** Video quality, the worst first: "VeryLow", "Low", "Average", "Normal", "High". */
extern VEXORA_API const char *VideoQualityStr[5];

/** "Info", "Warning", "Critical". */
extern VEXORA_API const char *EventLevelStr[3];

/* Lookups.
 *
 * Texts match a word exactly: case, blanks and length count. Safe from any thread while nobody changes the table. */

/** Returns whether a text is a word of a table.
 *
 * @param table  slots; NULL is refused.
 * @param text   NUL-terminated; NULL is refused.
 * @param count  slots to look at; none with 0 or a negative count.
 * @return 0 when it is, -1 when it isn't or an argument is refused.
 */
VEXORA_API int vexora_valid_strparams(const char **table, const char *text, int count);

/** Turns a word into its number.
 *
 * @param table  slots; NULL is refused.
 * @param text   NUL-terminated; NULL is refused.
 * @param count  slots to look at; none with 0 or a negative count.
 * @param index  receives the number of the first slot that matches, its low 8 bits; NULL is refused. Untouched unless
 *               the result is 0.
 * @return 0; 1 when no slot matches or an argument is refused.
 */
VEXORA_API int ValidateStrToOrder(const char **table, const char *text, int count, unsigned char *index);

/** Turns a number into its word.
 *
 * @param table     slots; NULL is refused.
 * @param index     the slot.
 * @param count     slots of the table; there is none with 0 or a negative count.
 * @param dst       receives the word, cut to `dst_size` - 1 characters, and a terminator; NULL is refused. Untouched
 *                  unless the result is 0.
 * @param dst_size  capacity in bytes, the terminator included; with 0 nothing is written.
 * @return 0, also when the word was cut; 1 when there is no such slot, it is empty, or an argument is refused.
 */
VEXORA_API int ValidateIndexToString(const char **table, unsigned int index, int count, char *dst, size_t dst_size);

/* The lookups for single settings: vexora_valid_strparams, ValidateStrToOrder or ValidateIndexToString with the table
 * that is named, and all its slots. */

/** Returns whether a text is a word of AuthProtocols. */
VEXORA_API int ValidateAUTHProtocol(const char *text);

/** Returns whether a text is a word of HostIDs. */
VEXORA_API int ValidateHostID(const char *text);

/** Returns whether a text is a word of PrivProtocols. */
VEXORA_API int ValidatePrivProtocol(const char *text);

/** The number of a word of EnableStr. */
VEXORA_API int ValidateEnableDisable(const char *text, unsigned char *index);

/** The number of a word of EnabledStrLittleLetter. */
VEXORA_API int ValidateEnableDisableLittleLetter(const char *text, unsigned char *index);

/** The number of a word of AutoStrLittleLetter. */
VEXORA_API int ValidateAutoManualLittleLetter(const char *text, unsigned char *index);

/** The number of a word of SyslogTagStr. */
VEXORA_API int ValidateSyslogTagStrToIndex(const char *text, unsigned char *index);

/** The number of a word of SyslogEnableStr. */
VEXORA_API int ValidateSyslogEnableStrToIndex(const char *text, unsigned char *index);

/** The number of a word of SyslogProtocalStr. */
VEXORA_API int ValidateSyslogProtocalStrToIndex(const char *text, unsigned char *index);

/** The number of a word of SyslogTypeStr. */
VEXORA_API int ValidateSyslogTypeStrToIndex(const char *text, unsigned char *index);

/** The number of a word of SyslogLevelStr. */
VEXORA_API int ValidateSyslogLevelStrToIndex(const char *text, unsigned char *index);

/** The number of a word of TrapVersionStr. */
VEXORA_API int ValidateSnmpTrapVersion(const char *text, unsigned char *index);

/** The number of a word of CompressionModeStr. */
VEXORA_API int ValidateCompressionMode(const char *text, unsigned char *index);

/** The number of a word of VideoQualityStr. */
VEXORA_API int ValidateVideoQuality(const char *text, unsigned char *index);

/** The number of a word of EventLevelStr. */
VEXORA_API int ValidateEventLevelStrToIndex(const char *text, unsigned char *index);

/** The word of a slot of EnableStr. */
VEXORA_API int ValidateEnableDisableIndexToString(unsigned int index, char *dst, size_t dst_size);

/** The word of a slot of SyslogTagStr. */
VEXORA_API int ValidateSyslogTagIndexToString(unsigned int index, char *dst, size_t dst_size);

/** The word of a slot of SyslogEnableStr. */
VEXORA_API int ValidateSyslogEnableIndexToString(unsigned int index, char *dst, size_t dst_size);

/** The word of a slot of SyslogProtocalStr. */
VEXORA_API int ValidateSyslogProtocalIndexToString(unsigned int index, char *dst, size_t dst_size);

/** The word of a slot of SyslogTypeStr. */
VEXORA_API int ValidateSyslogTypeIndexToString(unsigned int index, char *dst, size_t dst_size);

/** The word of a slot of SyslogLevelStr. */
VEXORA_API int ValidateSyslogLevelIndexToString(unsigned int index, char *dst, size_t dst_size);

/** The word of a slot of CompressionModeStr. */
VEXORA_API int ValidateCompressionModeIndexToString(unsigned int index, char *dst, size_t dst_size);

/** The word of a slot of VideoQualityStr. */
VEXORA_API int ValidateVideoQualityIndexToString(unsigned int index, char *dst, size_t dst_size);

/* Strings.
 *
 * Texts are NUL-terminated. Reported failures go through the firmware's debug output, others are silent. All calls are
 * safe from any thread, as long as none shares a buffer with another. */

/** Finds a suffix.
 *
 * @return the place in `text` where `suffix` begins, the terminator for an empty one; NULL when the text doesn't end
 *         with it or an argument is NULL.
 */
VEXORA_API const char *vexora_str_end_str(const char *text, const char *suffix);

/** Returns whether a text begins with a prefix, as every text does with an empty one.
 *
 * @return `text` when it does; NULL when it doesn't or an argument is NULL.
 */
VEXORA_API const char *vexora_str_start_str(const char *text, const char *prefix);

/** Looks for characters that the web and command layers refuse: "*", "(", ")", "&", "=" and "|".
 *
 * @return 1 when the text holds any of them, 0 when it holds none, -1 for NULL.
 */
VEXORA_API int FilterSensitiveWordsForSec(const char *text);

/** Turns a text into upper case in place, byte by byte and by the current locale. NULL is left alone. */
VEXORA_API void covertToUpperCase(char *text);

/** Turns a text into lower case in place, byte by byte and by the current locale. NULL is left alone. */
VEXORA_API void covertToLowerCase(char *text);

/** Reverses a text in place, byte by byte.
 *
 * @return 0; -1 for NULL.
 */
VEXORA_API int ReverseString(char *text);

/** Measures a text.
 *
 * @param text  needs no terminator within `max` bytes.
 * @param max   bytes to look at.
 * @return the length, at most `max`; 0 for NULL.
 */
VEXORA_API size_t strnlen_safe(const char *text, size_t max);

/** Copies a text, into a buffer or into a new one.
 *
 * @param dst  receives exactly `len` bytes: the text and zero bytes after it, but no terminator when the text has `len`
 *             bytes or more. With NULL the copy is a new string of at most `len` characters, always terminated.
 * @param src  the text.
 * @param len  capacity in bytes, or with a NULL `dst` the characters to copy; the new block takes one byte more.
 * @return `dst`, or the new string, which the caller releases with free. For a NULL `src` a constant empty string,
 *         never to be freed or written; `dst` is then untouched. NULL when memory is short, or when `len` is SIZE_MAX
 *         and `dst` is NULL; that is reported.
 */
VEXORA_API char *strncpy_safe(char *dst, const char *src, size_t len);

/** Puts a backslash before every backslash and single quote.
 *
 * Made for a caller that keeps one pointer: text = escaper(text, next).
 *
 * @param old   a string from an earlier call, or NULL. It is freed first, whatever happens then.
 * @param text  the text, not part of `old`.
 * @return a new string, which the caller releases with free or through `old`; NULL when `text` is NULL, or when memory
 *         is short, which is reported.
 */
VEXORA_API char *escaper(char *old, const char *text);

/** Writes a MAC address as "00:1A:2B:3C:4D:5E".
 *
 * @param mac     6 bytes.
 * @param length  ignored.
 * @param text    receives 17 characters and a terminator.
 * @return always 0; nothing is written when a pointer is NULL.
 */
VEXORA_API int ConvertMACnumToStr(const uint8_t *mac, int length, char *text);

/** Capacity of str_replace's target in bytes, the terminator included. */
#define VEXORA_REPLACE_TARGET_SIZE 5120

/** Replaces every occurrence of a text. What was put in is not searched again.
 *
 * @param source  the text to search.
 * @param target  VEXORA_REPLACE_TARGET_SIZE bytes apart from the source, holding a copy of it, at least of the part
 *                before the first occurrence: that part is neither read nor written. Without an occurrence it is
 *                untouched.
 * @param from    what to replace; empty is refused.
 * @param to      what to put in its place.
 * @return 0; -1 when an argument is NULL or refused, which leaves the target alone, or when the target has no space for
 *         the text as it is with this and all earlier occurrences replaced, later ones not yet. That is reported; the
 *         target then holds a cut result, or what it held when the first occurrence lies after its end.
 *
 * Nothing is ever written outside the target, whatever it held before.
 */
VEXORA_API int str_replace(const char *source, char *target, const char *from, const char *to);

/** Splits a text in place. Runs of delimiters count as one, and give no token at either end.
 *
 * @param text        the text; ends of tokens are overwritten with terminators.
 * @param delimiters  the characters that part tokens.
 * @param tokens      receives pointers into the text, in order; at least one slot.
 * @param count       receives the number of pointers stored, 0 when the text holds delimiters only.
 * @param max         slots of `tokens`; below 1 is treated as 1. One more token than there are slots is cut off the
 *                    text, but not stored.
 *
 * Nothing is done, and `count` left as it was, when an argument is NULL or `text` or `delimiters` is empty.
 */
VEXORA_API void split_c(char *text, const char *delimiters, char **tokens, int *count, int max);

/** Checks the syntax of a path: "/" and a word character (letter, digit, underscore); from there on runs of word
 *  characters, each followed by at most one "/", one "-", one character of any kind and one ":", in this order.
 *
 * The calling thread needs 20 KiB of stack on ARM, whatever the path: most of it is for the C library's matcher.
 * PTHREAD_STACK_MIN is less. Hazard: memory that runs out while the C library compiles the pattern may make it end the
 * process, by a double free of its own.
 *
 * @return 0 when the whole path matches; -1 when it doesn't, which is reported, when it is NULL or empty, or when the
 *         pattern can't be compiled; another error of regexec when matching fails, REG_ESPACE for want of memory.
 */
VEXORA_API int is_valid_path(const char *path);

/* Local time.
 *
 * Each call looks at the time zone anew. Safe from any thread while none changes the environment. */

/** The current offset of local time from UTC.
 *
 * @return seconds, east of Greenwich positive; -1 when the local time is not available.
 */
VEXORA_API int VexoraGetUTC_SecondsOffset(void);

/** Breaks the time of a log record down.
 *
 * @param log_time  seconds since the epoch as a local clock shows them.
 * @param out       receives the local time of `log_time` less the current UTC offset, so a record from the other half
 *                  of the year is an hour off where clocks change; NULL is left alone. An offset that is not available
 *                  is treated as 0, and a time that the C library can't convert leaves `out` untouched. Where time_t
 *                  has 32 bits, later times than it holds wrap to before 1970.
 */
VEXORA_API void VexoraLogTime2TmMode(uint32_t log_time, struct tm *out);

/** Writes the current offset of local time from UTC as "+05:30" or "-03:30".
 *
 * @param text  receives the text, cut to `size` - 1 characters, and a terminator; untouched unless the result is 0.
 * @param size  capacity in bytes, the terminator included; with 0 nothing is written.
 * @return 0, also when the text was cut; -1 when `text` is NULL or the offset is -1.
 */
VEXORA_API int get_time_zone(char *text, size_t size);

/* Input validators.
 *
 * What a user typed goes through these before it reaches a settings store. They differ in what they answer, and callers
 * rely on each answer as it is. Texts are NUL-terminated unless a length is given, and of any bytes; NULL is refused
 * unless a parameter says that it must not be NULL. No check keeps state or touches its arguments, outputs aside; each
 * is safe from any thread, not from a signal handler, and `errno` is not part of any result. "Letters and digits of the
 * locale" are the C library's classes in the process's locale; in the default one, as everywhere else here, they are A
 * to Z, a to z and 0 to 9. "Printed" means on standard output, "reported" through the firmware's debug output at level
 * 130.
 */

/** Bytes that ConverHostnameToIP writes. */
#define VEXORA_IP_TEXT_SIZE 46

/** Checks an IPv4 address in dotted decimals, as inet_pton takes it.
 *
 * @return 0, or 223, which is reported with inet_pton's result (-1 for NULL).
 */
VEXORA_API unsigned IsValidIpv4(const char *text);

/** Checks an IPv6 address, as inet_pton takes it.
 *
 * @return 0, or 226, which is reported with inet_pton's result (-1 for NULL).
 */
VEXORA_API unsigned IsValidIpv6(const char *text);

/** Checks that a name or address can be resolved. Waits for the resolver.
 *
 * @return 0; 228 when the text begins with two or three numbers of a dotted address, which is printed with how many, or
 *         can't be resolved, which is reported with getaddrinfo's code (-1 for NULL).
 */
VEXORA_API unsigned IsValidDomain(const char *text);

/** Looks up a host's IPv4 address. Waits for the resolver.
 *
 * @param hostname  a name, or an address in dotted decimals.
 * @param ipText    receives VEXORA_IP_TEXT_SIZE bytes, the address in dotted decimals and NULs to the end; of several
 *                  addresses the last that the resolver gives. Must not be NULL. Untouched on failure.
 * @return 0; 1 when the name has no IPv4 address or none was found, with a line on standard error.
 */
VEXORA_API int ConverHostnameToIP(const char *hostname, char *ipText);

/** Checks an IPv4 address in dotted decimals that doesn't begin with the character '0'.
 *
 * @return 0 or -1.
 */
VEXORA_API int vexora_isvalid_ipv4(const char *text);

/** Checks an IPv6 address, as inet_pton takes it.
 *
 * @return 0 or -1.
 */
VEXORA_API int vexora_isvalid_ipv6(const char *text);

/** Checks that the last full stop follows some character and precedes a letter of the locale. Nothing else is looked
 *  at.
 *
 * @param text  not changed.
 * @return 0 or -1.
 */
VEXORA_API int vexora_isvalid_domain(char *text);

/** Checks a domain name: labels with full stops between them, 255 characters at most.
 *
 * A label has 1 to 63 letters, digits and hyphens and doesn't begin with a hyphen; it may end with one. A full stop
 * must not end the name. One full stop too many, in front or doubled, is accepted, two are not; and a name of 255
 * characters needs the one.
 *
 * @return 0 or -1.
 */
VEXORA_API int VexoraIsDomain(const char *text);

/** Checks a host name of one label: letters and digits of the locale and, within, hyphens.
 *
 * @param text    holds the name in its first `length` bytes and may go on after them; a text that ends before is
 *                refused.
 * @param length  1 to 255; others are refused.
 * @return 0 or -1.
 */
VEXORA_API int vexora_valid_hostname(const char *text, unsigned length);

/** Checks that a text has no character but digits of the locale; the empty text has none.
 *
 * @param text  must not be NULL.
 * @return 0 or -1.
 */
VEXORA_API int vexora_valid_digit(const char *text);

/** Checks a password's strength: it mixes three of small letters, capitals, digits and others (the underscore is none
 *  of these), and has neither a space nor a control character. Letters are those of the locale. There is no limit to
 *  its length. A kind that can't be searched for, for want of memory, is treated as missing. It takes as much stack as
 *  is_valid_path.
 *
 * @return 0 or -1.
 */
VEXORA_API int vexora_isvalid_passwd(const char *password);

/** Checks a user or host name; says what is wrong in a printed line.
 *
 * A name doesn't begin with a digit of the locale nor with one of ".-@_", and has no space, control character or
 * punctuation but "-", "_", "@" and, in the SMTP modes, the full stop. Bytes from 0x80 up are accepted.
 *
 * @param name       must not be NULL; the empty name is refused.
 * @param maxLength  how many characters are looked at; what follows is not refused. A negative one is refused as if
 *                   there were no memory.
 * @param mode       0 for an account's user name, 1 for an SMTP user name, any other for an SMTP host name.
 * @return 0, or -1; also when there is no memory for a copy of maxLength + 1 bytes.
 */
VEXORA_API int vexora_isvalid_username(const char *name, int maxLength, int mode);

/** Checks that the first 16 characters have no single quote, backslash or control character; prints a line otherwise.
 *
 * @param address  must not be NULL.
 * @return 0 or -1.
 */
VEXORA_API int vexora_isvalid_senderaddress(const char *address);

/** Checks a mail address. Only its first 64 characters are looked at, as if there were no more.
 *
 * Both parts are of printable characters without the space and ()<>@,;:\"[]. In the local part a quoted string may
 * come at the beginning or after a full stop, up to a full stop or the part's end; it may be empty, and takes the
 * space and all specials, '"' and '\' after a '\'. Neither part is empty or ends with a full stop; the domain doesn't
 * begin with one either and doubles none.
 *
 * @param address  must not be NULL.
 * @return 0 or -1.
 */
VEXORA_API int vexora_isvalid_email(const char *address);

/** Checks that a text has none of *()&=|.
 *
 * @return 0 or -1.
 */
VEXORA_API int vexora_verify_sensitivewords(const char *text);

/** Checks that a text is a number.
 *
 * @param text  digits, at least one. In base 16 "0x" or "0X" may precede them, and a carriage return or line feed after
 *              them hides whatever follows.
 * @param base  2, 10 or 16.
 * @return 1, or 0, also for other bases.
 */
VEXORA_API int vexora_verify_strisdigit(const char *text, unsigned base);

/** Checks a field of the SNMP trap settings: printable characters without the space, and NULs anywhere.
 *
 * @param buffer  `length` bytes.
 * @param length  1 to 16; others, negative ones too, are refused.
 * @return 0 or 1.
 */
VEXORA_API int ValidateSNMPTrapCfgInput(const unsigned char *buffer, int length);

/** Checks an SNMP engine identifier: 5 to 24 octets in hexadecimal digits, or the empty text for none. Prints a line
 *  when it refuses.
 *
 * @param engineId   must not be NULL.
 * @param maxDigits  at this many digits the check stops; what follows is not looked at. A negative one is no limit.
 * @return 0; 1 for a character that is no hexadecimal digit; 2 for a number of digits that is odd, below 10 or above
 *         48.
 */
VEXORA_API int ValidateSNMPTrapCfgEngineID(const char *engineId, int maxDigits);

/** Checks that a sensor type is one of those whose traps can be configured.
 *
 * @param type  an IPMI sensor type, from 0xC0 up an OEM one.
 * @return 0 or 1.
 */
VEXORA_API int ValidateSNMPTrapCfgDeviceType(unsigned type);

/** Finds an array's largest and smallest elements, the first of equal ones.
 *
 * @param values              `count` elements. With NULL, or a count below 2, nothing is written.
 * @param maxIndex, minIndex  receive the elements' indices; must not be NULL.
 */
VEXORA_API void vexora_find_maxandmin_uchar(const unsigned char *values, int count, unsigned *maxIndex,
                                            unsigned *minIndex);

/** The same for numbers. A NaN is passed over, unless it is the first element: then both indices are 0. */
VEXORA_API void vexora_find_maxandmin_float(const float *values, int count, unsigned *maxIndex, unsigned *minIndex);

#ifdef __cplusplus
}
#endif

#endif
