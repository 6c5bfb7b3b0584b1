/* SPDX-License-Identifier: Apache-2.0 */
/** Files and removable storage: text and JSON documents kept whole in a file, with or without a checksum; directories
 *  and log files; the TF (microSD) card. docs/file-storage.md has the file format and the card's directory scheme.
 *
 * Paths are NUL-terminated. Every call opens, works and closes; none keeps state or takes a lock, so each is safe from
 * any thread, but callers that work on the same file, directory or card at the same time must be serialised. None is
 * safe in a signal handler. `errno` is left as the C library's calls leave it. */
#ifndef VEXORA_STORAGE_H
#define VEXORA_STORAGE_H

#include <stdint.h>

#include "vexora/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A JSON document of json-c. */
struct json_object;

/* Whole files.
 *
 * A guarded file begins with four bytes that hold the CRC32 of the rest, in the processor's byte order, so that a
 * reader notices damage. Failures of these eight calls show in their results alone.
 *
 * A writer empties the file first and writes after, and reports only whether the file could be opened: what a full
 * medium or a power cut leaves is a short file, which the guarded readers refuse and the plain ones return. */

/** Reads a whole file.
 *
 * @param path  the file; NULL is refused.
 * @return its bytes and a terminator, which the caller releases with free(); NULL when it can't be read, memory is
 *         short, or the file is empty. What has no size, such as a pipe, a device or a file under "/proc", counts as
 *         empty and is not opened. A file that shrinks meanwhile fails; of one that grows, the beginning is returned.
 *         Zero bytes are kept, and then the text seems to end early: the length is not returned.
 */
VEXORA_API char *vexora_string_read_file(const char *path);

/** Reads the text of a guarded file.
 *
 * @return as vexora_string_read_file, without the checksum's four bytes; NULL also when the checksum is wrong or the
 *         text is empty or longer than 4,294,967,295 bytes.
 */
VEXORA_API char *vexora_string_read_file_with_crc32_check(const char *path);

/** Reads a JSON document.
 *
 * @param path  the file; NULL is refused.
 * @return the document, which the caller releases with json_object_put(); NULL when the file can't be read as
 *         vexora_string_read_file describes, or isn't JSON, or holds "null" or a value within more than 31 objects and
 *         arrays. Anything after the document is ignored.
 */
VEXORA_API struct json_object *vexora_json_read_file(const char *path);

/** Reads a JSON document from a guarded file; otherwise as vexora_json_read_file. */
VEXORA_API struct json_object *vexora_json_read_file_with_crc32_check(const char *path);

/** Writes a text as a file, created or emptied.
 *
 * @param path  the file; NULL is refused.
 * @param text  NUL-terminated; the terminator is not written. NULL is refused. An empty text makes an empty file, which
 *              the readers refuse.
 * @return 0, also when not everything could be written; -1 when an argument is NULL or the file can't be opened.
 *
 * Opening a pipe waits for a reader.
 */
VEXORA_API int vexora_string_write_2_file(const char *path, const char *text);

/** Writes a text as a guarded file.
 *
 * @return as vexora_string_write_2_file; -1 also for a text longer than 4,294,967,295 bytes. A refused call leaves the
 *         file alone.
 */
VEXORA_API int vexora_string_write_2_file_with_crc32_check(const char *path, const char *text);

/** Writes a JSON document as json-c's default text.
 *
 * @param object  stays the caller's; NULL is refused. It keeps its text, so no other thread may use it meanwhile.
 * @return as vexora_string_write_2_file; -1 also when memory is short for the text.
 */
VEXORA_API int vexora_json_write_2_file(const char *path, struct json_object *object);

/** Writes a JSON document as a guarded file; otherwise as vexora_json_write_2_file. */
VEXORA_API int vexora_json_write_2_file_with_crc32_check(const char *path, struct json_object *object);

/* Directories and log files. */

/** Most bytes that fileread returns. */
#define VEXORA_FILE_TAIL_MAX 532480

/** Reads the end of a file of any size.
 *
 * @param path  the file; NULL is refused.
 * @return its last VEXORA_FILE_TAIL_MAX bytes, all of a shorter file, and a terminator, which the caller releases with
 *         free(); zeros where bytes can't be read, so that an empty or unreadable file, or a directory, gives an empty
 *         text. NULL when it can't be opened or has no position, as a pipe; or when memory is short, which is reported
 *         through the firmware's debug output.
 *
 * Opening a pipe waits for a writer.
 */
VEXORA_API char *fileread(const char *path);

/** Makes a directory, mode 0755 reduced by the umask, unless anything exists at its path. What exists there is found
 *  by the process's effective rights.
 *
 * @param path  the directory, whose parent must exist; NULL is refused.
 * @return 0 when something is there; -1 when it can't be made, which is reported through the firmware's debug output.
 */
VEXORA_API int createIfNotExists(const char *path);

/** Empties a log file, which stays, and removes its rotated copy, whose name has ".1" added.
 *
 * @param path  the log file; NULL is refused. The rotated copy's name is cut to 255 characters: of a path of 255
 *              characters or more, whatever its first 255 characters name is removed, if need be the log itself.
 * @return 0, also when neither exists or can be changed; -1 when `path` is NULL. A file that can't be opened is
 *         reported through the firmware's debug output.
 */
VEXORA_API int vexora_delete_logfile(const char *path);

/** Operations of vexora_folder_operation. */
enum vexora_folder_op {
  VEXORA_FOLDER_EXISTS = 0,         /**< reports whether anything exists at the path */
  VEXORA_FOLDER_CREATE = 1,         /**< makes the directory unless anything exists there */
  VEXORA_FOLDER_RECREATE = 2,       /**< removes what exists there, with all below it, and makes the directory */
  VEXORA_FOLDER_COPY_REPLACING = 3, /**< copies the directory; 1 goes to the firmware's copyDir as its third argument */
  VEXORA_FOLDER_COPY_KEEPING = 4    /**< the same with 0 */
};

/** Works on a directory. Directories are made with mode 0755, reduced by the umask, in parents that exist.
 *
 * @param op    one of vexora_folder_op; any other is refused.
 * @param path  the directory; NULL, or one that doesn't begin with "/", is refused.
 * @param ...   for the two copies, `const char *destination`: the directory that receives the copy, made when missing;
 *              NULL, or one that doesn't begin with "/", is refused. What becomes of links and of files that exist
 *              there is up to the firmware's copyDir.
 * @return 0; -1 when an argument is refused, nothing exists at the path (VEXORA_FOLDER_EXISTS), or the directory can't
 *         be made or copied. Reported nowhere.
 */
VEXORA_API int vexora_folder_operation(unsigned op, const char *path, ...);

/* The TF card.
 *
 * The card's first partition is "/dev/mmcblk0p1", and "/dev/mmcblk0" the card as a whole, which is mounted when there
 * is no partition. It is mounted on "/mnt/sdmmc0p2". A directory on it holds one firmware image in two generations,
 * "NAME.new" and "NAME.old": NAME is the part of a file's name before its first ".new", or before its first ".old"; a
 * name with both counts as both, and is removed when an image is stored. Only regular files count: links in a directory
 * are passed over. A listing that breaks off counts as ended, except when an image is stored.
 *
 * Hazard: a directory on the card may itself be a link, and is followed. So is a link that has the name of a copy, as
 * far as the firmware's copyFile does. Use a card whose file system has links (FAT has none) only when it is trusted.
 *
 * Paths of directories are cut to 127 characters, those of images to 510. Names found on the card are never part of a
 * shell command. Calls that mount or look at mounts block until the commands end. */

/** Results of the calls below, beside 0 and -1. */
enum vexora_card_result {
  VEXORA_CARD_MISSING = 1,      /**< there is no card, or no mount point to store an image */
  VEXORA_CARD_NO_DIRECTORY = 2, /**< a mount point or directory is missing or can't be opened, or lists nothing */
  VEXORA_CARD_NO_IMAGE = 3,     /**< no image of the version */
  VEXORA_CARD_IMAGE_NEW = 4,    /**< the version is that of a ".new" file */
  VEXORA_CARD_IMAGE_OLD = 5     /**< the version is that of an ".old" file */
};

/** Mounts the card, after unmounting whatever is on its mount point.
 *
 * A failed mount shows neither here nor in what follows: on a writable root the calls below work in the directory that
 * is the mount point, return 0, and fill the root. CheckTFCardMountStatus reports it: call it after mounting, and go on
 * when it sets its outputs and the mount point is "/mnt/sdmmc0p2". A product makes both mount points when it is built,
 * and so that nobody can write to them while nothing is mounted: on a read-only root, or with the immutable attribute
 * ("chattr +i") where the file system has it. Where "/mnt/sdmmc0p2" is missing, a log copied becomes a file of that
 * name, and every later mount fails until it is removed.
 *
 * @return 0, also when the mount fails. -1 when there is no card, reported on standard output.
 */
VEXORA_API int common_mount_tf_card(void);

/** Unmounts the card. Always 0. */
VEXORA_API int common_umount_tf_card(void);

/** Looks for an image of a version on the card, which must be mounted.
 *
 * @param directory  the image's directory, below the mount point; NULL is refused.
 * @param version    the version's text, which begins with an image's name; NULL is refused.
 * @return 4 or 5 for the first file found whose name begins the version, 4 for a ".new" one and 5 for an ".old" one; 3
 *         when none does; 2 when the directory doesn't exist, logged in the debug log, module "ZELMONITOR"; -1 when an
 *         argument is NULL, or the directory can't be opened, reported on standard output. A name of no characters
 *         begins every version.
 */
VEXORA_API int common_check_ima_file_version_tf_card(const char *directory, const char *version);

/** Stores an image on the card, which must be mounted.
 *
 * Every ".old" file of the directory is removed, whatever its image, then every ".new" file becomes its image's ".old",
 * then the source is copied to `image_name`.new. Files that can't be removed or renamed are reported on standard output
 * and don't stop the call. Blocks until the medium has the image and its name, where the file system can say so.
 *
 * A copy that fails, on a full card for instance, leaves a part of the image under its name, and the next call takes
 * that for the last image: it removes the one before. Ask for space first (CheckTFCardMountStatus). After a failed
 * call, remove the part and give the image that is now ".old" its ".new" name again: the next call removes every ".old"
 * first.
 *
 * @param source_path  the image; NULL is refused.
 * @param image_name   its name on the card; NULL is refused.
 * @param directory    its directory below the mount point, made (mode 0777, reduced by the umask) when missing; NULL
 *                     is refused.
 * @return 0; 1 when there is no card or no mount point; -1 when an argument is NULL, the directory can't be made
 *         (logged in the debug log, module "ZELMONITOR"), its files can't be listed, or the copy fails or doesn't reach
 *         the medium. The other refusals, but for a NULL, are reported on standard output. When the files can't be
 *         listed to their end nothing is changed: a copy would overwrite the last image.
 */
VEXORA_API int common_copy_ima_file_to_tf_card(const char *source_path, const char *image_name, const char *directory);

/** Mounts the card, copies a file into its topmost directory and unmounts it; 0 doesn't mean that the mount succeeded
 *  (common_mount_tf_card says what to look at). Blocks until the medium has the file and its name, where the file
 *  system can say so.
 *
 * @param source_path  the file; NULL is refused.
 * @return 0; 1 when there is no card; -1 when the path is NULL, or the copy fails or doesn't reach the medium, in which
 *         case the card stays mounted. A missing card and a failed copy are reported on standard output.
 */
VEXORA_API int common_copy_log_to_tf_card(const char *source_path);

/** Bytes of one name in the result of common_get_file_list_from_tf_card, its terminator included. */
#define VEXORA_CARD_IMAGE_NAME_SIZE 64

/** The name for an image that isn't there. */
#define VEXORA_CARD_NO_FILE "TF_CARD_NO_FILE"

/** Returns the names of a directory's images on the card, which must be mounted.
 *
 * @param directory  the directory, below the mount point; NULL is refused.
 * @param names      receives two texts, each at most 63 characters and a terminator, with nothing written after it:
 *                   from byte 0 the name of the ".new" image, from byte 64 that of the ".old" one, of several the last
 *                   found, and VEXORA_CARD_NO_FILE for none. NULL is refused. Untouched unless the result is 0.
 * @return 0; 1 when there is no card; 2 when the mount point is missing, or the directory is missing or can't be
 *         opened; -1 when an argument is NULL. A missing card or mount point is reported on standard output.
 */
VEXORA_API int common_get_file_list_from_tf_card(const char *directory, char *names);

/** Bytes of one name in the result of get_production_doc_from_tf_card, its terminator included. */
#define VEXORA_CARD_DOC_NAME_SIZE 257

/** Lists the production documents on the card, which must be mounted.
 *
 * @param names  capacity for `max` + 1 names of VEXORA_CARD_DOC_NAME_SIZE bytes; receives the names in the directory's
 *               order, each with a terminator and nothing written after it. NULL is refused.
 * @param max    one less than the capacity in names; negative for none.
 * @param count  receives the number of names, at most `max` + 1; NULL is refused. Untouched when there is no card, or
 *               the directory is missing or can't be opened.
 * @return 0 with at least one name; 1 when there is no card; 2 when the directory is missing, can't be opened or holds
 *         no regular file, or `max` is negative; -1 when `names` or `count` is NULL. A missing card or directory is
 *         reported through the firmware's debug output.
 */
VEXORA_API int get_production_doc_from_tf_card(char *names, int max, uint32_t *count);

/** Bytes of the mount point that CheckTFCardMountStatus returns, its terminator included. */
#define VEXORA_CARD_MOUNT_POINT_SIZE 32

/** Reports where the card is mounted and how much space is left; mounts it on "/mnt/sdmmc0p3" when it isn't mounted.
 *
 * @param mount_point    receives the mount point, cut to 31 characters, and a terminator; NULL when it isn't wanted.
 * @param available_kib  receives the kibibytes available, at most what a long holds; NULL when they are not wanted.
 * @return 0 when the card's mount was found, with both outputs set, or when it was mounted now, with both untouched:
 *         ask again. -1 when there is no card or "df" can't be started. Otherwise the wait status of the last of three
 *         mount commands that failed. A missing card and failed commands are reported through the firmware's
 *         maintenance output.
 *
 * What "df -k" prints decides: of a card that was pulled out and put back, it may be the old mount, dead, with its old
 * space. Mount again after a change of the card. A line counts up to 255 characters, each of its fields up to 31.
 */
VEXORA_API int CheckTFCardMountStatus(char *mount_point, int64_t *available_kib);

#ifdef __cplusplus
}
#endif

#endif
