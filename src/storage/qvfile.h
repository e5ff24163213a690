/* Record files: one fixed-size binary record, framed by a mark byte and a version at both ends.
 *
 * Layout, little-endian: head mark at 0, version (binary64) at 1, payload at 9, version at 9 + size, tail mark at
 * 17 + size. The frame tells a file that is missing, cut short, of another size or of another version; there is no
 * checksum. Pointers must not be null. int32_t results: 0 success, -1 failure. */
#ifndef QV6D_STORAGE_QVFILE_H
#define QV6D_STORAGE_QVFILE_H

#include "platform/api.h"

#define QVFILE_NAME_SIZE 255 /* bytes of a name with its terminator */

#define QVFILE_HEAD_MARK 'q'
#define QVFILE_TAIL_MARK 'v'

typedef struct qvfile
{
    char name[QVFILE_NAME_SIZE];
    char head_mark;
    char tail_mark;
    double version;
    int32_t size; /* bytes of the payload */
} qvfile;

/* Describes a record file. A name of more than 254 characters is refused with -1 and leaves the descriptor without a
 * name, with which nothing can be read or written. */
QV_API int32_t qvfile_conf(qvfile *file, const char *name, int32_t size, double version);

/* Writes the whole file. -1 when it cannot be opened, and with one error line when an item cannot be written; what was
 * written until then fails to read. */
QV_API int32_t qvfile_write(const qvfile *file, const void *payload);

/* Checks the frame, then reads the payload. -1 when the file cannot be opened for reading and writing or its frame is
 * not intact, with the destination untouched; with one error line when the payload cannot be read, the destination then
 * being partly written. */
QV_API int32_t qvfile_read(const qvfile *file, void *destination);

#endif
