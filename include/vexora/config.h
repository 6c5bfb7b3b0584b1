/* SPDX-License-Identifier: Apache-2.0 */
/** Settings that outlive a daemon: the JSON files of e-mail alerts, SNMP traps and the SNMP agent, the file of event
 *  subscriptions, and the document of an event that is pushed to a subscriber. docs/configuration-files.md gives the
 *  files' formats. */
#ifndef VEXORA_CONFIG_H
#define VEXORA_CONFIG_H

#include <stdint.h>

#include "vexora/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Settings files.
 *
 * A load turns "/conf/NAME.json" into records of a fixed layout, a save does the reverse; nothing is kept in memory
 * between calls and nothing is checked but the sizes. A missing file is first copied from "/etc/defconfig/NAME.json".
 *
 * Records have no padding and little-endian numbers; texts end in a NUL inside their field. A load cuts longer texts to
 * their field, keeps the low bits of the 32-bit number that is nearest to the file's, and leaves zeros for what the
 * file lacks. A save stores what a load would return: a text that fills its field without a NUL loses its last
 * character, and no byte after the field is read.
 *
 * A JSON null is treated as missing. Failed loads are logged through VexoraDebug at level 2 for module "IPMI", failed
 * saves are reported nowhere, refused arguments are printed on standard output. A save that runs out of memory gives -1
 * and leaves the file alone; one whose file cannot be written gives 0, as it always has, and a caller who must know
 * loads the file again. Hazard: memory that runs out while json-c parses a file may lose a member of it or end the
 * process; json-c reports neither.
 *
 * Safe from any thread as far as memory goes, never from a signal handler. Nothing locks the files: callers serialise
 * saves of one file, and for the e-mail settings loads too, as their file is written in place. */

/** Entries of a list of recipients or trap destinations. */
#define VEXORA_ALERT_DESTINATIONS 4

/** E-mail alerts, 273 bytes. */
typedef struct SmtpCfgRecord {
  uint8_t SmtpEnable;
  char ServerAddr[47];
  uint16_t SmtpPort;
  uint16_t SmtpSecurePort;
  uint8_t EnableSTARTTLS;
  uint8_t EnableSSLTLS;
  uint8_t SMTPAUTH;
  char UserName[66];
  char PassWord[66]; /**< in the file as it is here */
  char SenderAddr[65];
  char Subject[17];
  uint8_t HostName;     /**< whether mails carry the host's name */
  uint8_t SerialNumber; /**< whether mails carry its serial number */
  uint8_t AssetTag;     /**< whether mails carry its asset tag */
  uint8_t EventLevel;
} __attribute__((packed)) SmtpCfgRecord;

/** A recipient of e-mail alerts, 83 bytes. */
typedef struct SmtpDestCfgRecord {
  uint8_t Enabled;
  char EmailAddress[65];
  char Description[17];
} __attribute__((packed)) SmtpDestCfgRecord;

/** SNMP traps, 179 bytes. The file holds the community and both passwords enciphered. */
typedef struct SnmpTrapCfgRecord {
  uint8_t TrapVersion;
  uint8_t EventLevelLimit;
  char Community[17];
  char HostID[17];
  char UserName[17];
  char AUTHProtocol[17];
  char AUTHPwd[21];
  char PrivProtocol[17];
  char PRIVPwd[21];
  char EngineID[49];
  uint8_t DeviceType;
} __attribute__((packed)) SnmpTrapCfgRecord;

/** A trap destination, 52 bytes. */
typedef struct SnmpTrapDestCfgRecord {
  uint8_t Enabled;
  char Destination[47];
  int32_t port;
} __attribute__((packed)) SnmpTrapDestCfgRecord;

/** The SNMP agent, 99 bytes. The file holds both communities and both passwords enciphered. */
typedef struct SnmpAgentCfgRecord {
  uint8_t SnmpV1Enable;
  uint8_t SnmpV2Enable;
  char ReadOnlyCommunity[17];
  char ReadWriteCommunity[17];
  uint8_t SnmpV1V2SetEnable;
  uint8_t SnmpV3Enable;
  uint8_t AUTHProtocol;
  uint8_t PrivProtocol;
  char AUTHUserName[17];
  char AUTHPwd[21];
  char PRIVPwd[21];
} __attribute__((packed)) SnmpAgentCfgRecord;

/** Loads the e-mail settings from "/conf/SmtpCfg.json".
 *
 * @param cfg        receives the settings; NULL is refused.
 * @param cfgSize    sizeof(SmtpCfgRecord), 273; anything else is refused.
 * @param dests      receives four recipients, those that the file lacks as zeros; NULL is refused.
 * @param destsSize  bytes of the four, 332; anything else is refused.
 * @return 0; -1 with both records untouched when an argument is refused, when neither the file nor its default is
 *         there, when three attempts to parse it failed, or when it has no "SmtpCfg"; -1 with `cfg` filled and `dests`
 *         untouched when "SmtpDestCfg" is no array or has more than four elements.
 *
 * Restoring a missing file prints two lines on standard output.
 */
VEXORA_API int VexoraGetSmtpTotalConfFromJson(SmtpCfgRecord *cfg, int cfgSize, SmtpDestCfgRecord *dests, int destsSize);

/** Saves the e-mail settings, replacing the whole file in place.
 *
 * @param cfg, cfgSize, dests, destsSize  as for the load, and only read; all four recipients are written.
 * @return 0, even when the file could not be written: it is then as the failed write left it; -1 with the file
 *         untouched when an argument is refused or memory is short.
 */
VEXORA_API int VexoraSetSmtpTotalConfToJson(const SmtpCfgRecord *cfg, int cfgSize, const SmtpDestCfgRecord *dests,
                                            int destsSize);

/** Loads the trap settings from "/conf/SnmpTrapCfg.json".
 *
 * A secret that is missing or cannot be deciphered, for lack of memory too, stays empty, and so do the secrets after it
 * in the order community, authentication password, privacy password; a community that begins with "public" is taken as
 * plain text. Without the firmware's key or initialisation vector `cfg` is all zero. Neither is a failure.
 *
 * @param cfg        receives the settings; NULL is refused.
 * @param cfgSize    sizeof(SnmpTrapCfgRecord), 179; anything else is refused.
 * @param dests      receives four destinations, those that the file lacks as zeros; NULL is refused.
 * @param destsSize  bytes of the four, 208; anything else is refused.
 * @return 0; -1 with both records untouched when an argument is refused, when neither the file nor its default is
 *         there, when three attempts to parse it failed, or when it has no "SnmpTrapCfg"; -1 with `cfg` filled and
 *         `dests` untouched when "SnmpTrapDestCfg" is no array or has more than four elements.
 */
VEXORA_API int VexoraGetSnmpTotalConfFromJson(SnmpTrapCfgRecord *cfg, int cfgSize, SnmpTrapDestCfgRecord *dests,
                                              int destsSize);

/** Saves the trap settings: writes "/conf/SnmpTrapCfg.json.bak" and moves it onto the file.
 *
 * @param cfg, cfgSize, dests, destsSize  as for the load, and only read; all four destinations are written.
 * @return 0, even when the new file could not be written or moved: file and ".bak" are then as the failure left them;
 *         -1 with the file untouched when the firmware's key or initialisation vector is not available, which is found
 *         out before the arguments are looked at, when an argument is refused, when a secret cannot be enciphered, or
 *         when memory is short.
 */
VEXORA_API int VexoraSetSnmpTotalConfToJson(const SnmpTrapCfgRecord *cfg, int cfgSize,
                                            const SnmpTrapDestCfgRecord *dests, int destsSize);

/** Loads the agent's settings from "/conf/SnmpAgentCfg.json".
 *
 * A secret that is missing or cannot be deciphered, for lack of memory too, stays empty, and so do the secrets after it
 * in the order read-only community, read-write community, authentication password, privacy password; no community is
 * taken as plain text. Without the firmware's key or initialisation vector `cfg` is all zero. Neither is a failure.
 *
 * @param cfg      receives the settings; NULL is refused.
 * @param cfgSize  sizeof(SnmpAgentCfgRecord), 99; anything else is refused.
 * @return 0; -1 with `cfg` untouched when an argument is refused, when neither the file nor its default is there, when
 *         three attempts to parse it failed, or when it has no "SnmpCfg".
 */
VEXORA_API int VexoraGetSnmpAgentTotalConfFromJson(SnmpAgentCfgRecord *cfg, int cfgSize);

/** Saves the agent's settings: writes "/conf/SnmpAgentCfg.json.bak" and moves it onto the file.
 *
 * @param cfg, cfgSize  as for the load, and only read.
 * @return as VexoraSetSnmpTotalConfToJson.
 */
VEXORA_API int VexoraSetSnmpAgentTotalConfToJson(const SnmpAgentCfgRecord *cfg, int cfgSize);

/* Event subscriptions.
 *
 * Up to four destinations that events are pushed to, in an array of the process and in the text file
 * "/conf/eventsubscriptions.conf". What the strings mean is the event service's business. Every string is a block of
 * the process's heap that belongs to the store; a caller who sets one hands over a block from malloc.
 *
 * Nothing locks the array or the file: one thread of one process works on them at a time. */

/** Slots of the store. */
#define VEXORA_EVENT_SUBSCRIPTIONS 4
/** Filter entries of each kind in a slot. */
#define VEXORA_EVENT_FILTERS 32

/** One subscription. NULL strings are absent, and are written to the file as "N/A". */
/* NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): daemons know this order */
typedef struct EventSubScriptionRecord {
  uint8_t present; /**< non-zero: the slot is in use */
  char *destaddr;
  uint8_t type; /**< event types in bits 0 to 4; the rest is never written to the file, and 0 after a load */
  char *hcontent;
  char *hdataver;
  char *hxauth;
  char *context;
  char *protocal;
  char *messageid[VEXORA_EVENT_FILTERS];
  char *resource[VEXORA_EVENT_FILTERS];
} EventSubScriptionRecord;

/** The subscriptions of the process; all zero until a load. */
extern VEXORA_API EventSubScriptionRecord stEventSubScriptionStore[VEXORA_EVENT_SUBSCRIPTIONS];

/** Whether the store was loaded: 1, or 0. To be handed to the loader, and set to 0 to make it read the file again. */
extern VEXORA_API int32_t blEventSubScriptionsFlag;

/** Loads the store from the file, unless that was done already.
 *
 * The first four sections fill the four slots in order, whatever their names; later ones are ignored. A key that a
 * section lacks gives an empty string, a section that the file lacks gives an unused slot of empty strings, and "N/A"
 * gives NULL. Lines longer than 127 characters are read as several.
 *
 * @param loaded  the latch, normally blEventSubScriptionsFlag; NULL is refused. At 1 nothing is read. Becomes 1 after a
 *                load and 0 when the file is missing.
 * @param store   four slots; NULL is refused. What they own is freed once the new strings are all there.
 * @return 0; -1 with the store untouched when an argument is NULL, when the file is missing, when it cannot be opened
 *         for reading and writing (printed on standard output), or when it can't be read to its end or memory is short
 *         (the latch is untouched too).
 */
VEXORA_API int GetEventSubScriptionFromConfFile(int32_t *loaded, EventSubScriptionRecord *store);

/** Writes the file anew from the store: no temporary file, no synchronisation, and a full disk goes unnoticed.
 *
 * A value other than "N/A" reads back as it was as long as its line ("key=value") has at most 127 characters, no ";" or
 * "#" is in it, no quote at its beginning and no line end in it.
 *
 * @param unused  ignored.
 * @param store   four slots, in use or not; NULL is refused.
 * @return 0; -1 with the file untouched when `store` is NULL or a string has 512 characters or more (the latter printed
 *         on standard output); -1 with the old file gone when the new one cannot be made (printed, too).
 */
VEXORA_API int SetEventSubScription2ConfFile(uint32_t unused, const EventSubScriptionRecord *store);

/** Frees strings of some slots and sets them to NULL.
 *
 * @param first, last  the slots from `first` up to, not including, `last`. Only the four slots 0 to 3 exist: others are
 *               passed over.
 * @param what         1 destaddr, 2 the five type bits (cleared), 3 hcontent, hdataver and hxauth, 4 context, 5
 *                     protocal, 6 all of messageid, 7 all of resource, 9 all of these, and present becomes 0. 0, 8 and
 *                     negative values do nothing.
 * @param store        four slots.
 * @return 0; -1 with nothing touched when first > last, what > 9 or store is NULL.
 */
VEXORA_API int dwEventSubScriptionStoreMemFree(int32_t first, int32_t last, int32_t what,
                                               EventSubScriptionRecord *store);

/** One event as it is pushed: 67 strings of the caller's, NULL where there is none. */
typedef struct EventArray {
  const char *id;
  const char *eventType;
  const char *eventId;
  const char *severity;
  const char *eventTimestamp;
  const char *message;
  const char *messageId;
  const char *messageArgs[2];
  const char *originOfCondition[32];
  const char *oemKey[11];
  const char *oemValue[11];
  const char *reserved[3]; /**< not in the document */
  const char *context;
} EventArray;

/** Sets all strings to NULL.
 *
 * @param record  the event; NULL does nothing.
 */
VEXORA_API void EventArrayMemInit(EventArray *record);

/** Writes the Redfish Event resource (Event.v1_1_0.Event) of one event, as JSON text.
 *
 * Every value is cut to 127 bytes, the path in "@odata.id" included. Absent ones are the string "null", id and context
 * too; an absent oemValue is "N/A", and absent messageArgs are left out. An absent originOfCondition or oemKey before
 * a present one leaves a JSON null in its place.
 *
 * @param out             receives the text and its NUL; nothing bounds it, and the caller's buffer must hold it. 56 KiB
 *                        hold any event: each of at most 65 strings grows to six times its 127 bytes when escaped. NULL
 *                        does nothing. When memory is short the text is empty.
 * @param record          the event, by value; the strings are only read.
 * @param serverIdentity  the last "Oem" entry, or NULL.
 *
 * Safe from any thread. errno stays as it was unless memory is short.
 */
VEXORA_API void getJsonData(char *out, EventArray record, const char *serverIdentity);

#ifdef __cplusplus
}
#endif

#endif
