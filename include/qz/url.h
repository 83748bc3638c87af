/* URL: splitting a URL text into its parts and putting one together.
 *
 * A parsed URL is a record of texts and a port. URL_NewData and URL_CopyData return it as one block that owns
 * all its texts; URL_ToData fills the caller's record with pointers into the caller's text. Nothing here
 * needs OS_Init, blocks, or keeps state: every function may be called from any thread at any time, on
 * different records. */
#ifndef QZ_URL_H
#define QZ_URL_H

#include "qz/types.h"

QZ_BEGIN_C

/* Protocol types of the known schemes. */
enum URLProtocol {
  URLProtocol_HTTP = 0,
  URLProtocol_HTTPS = 1,
  URLProtocol_FTP = 2,  /* "ftp", "vrx" */
  URLProtocol_FTPU = 3, /* "ftpu", "vrxu" */
  URLProtocol_File = 4
};

/* A parsed URL. The texts are unescaped and point into the block or the buffer that it was parsed from. The
 * digits of an escape are read in upper case only: "a" to "f" count as 0 ("%2f" gives a space); an escaped
 * null byte is dropped. */
typedef struct URLData {
  char* protocol; /* the scheme as written */
  char* user;     /* may be null */
  char* password; /* may be null */
  char* host;     /* null for "file" URLs; may be empty */
  int32_t port;   /* explicit port, else the scheme's default; 0 for "file". Not checked against 65535 */
  char* path;     /* with its leading "/", a query or fragment included; null for none or "/"; for "file" all
                     that follows "://" */
} URLData;

/* Returns the protocol type of a scheme ("http", without regard to case), or -1 when it is unknown or null.
 */
QZ_API int32_t URL_GetProtocolType(const char* scheme);

/* Returns the default port of a scheme (0 for "file"), or -1 when it is unknown or null. */
QZ_API int32_t URL_GetProtocolPort(const char* scheme);

/* Returns the default port of a protocol type, or -1 when it has none (URLProtocol_File) or is unknown. */
QZ_API int32_t URL_GetProtocolTypePort(int32_t type);

/* Parses a copy of a URL text.
 * text: borrowed, not changed.
 * data: receives the record and its texts in one owned block (free with Memory_Delete); null after a failure.
 * Statuses: Error_None; Error_Invalid for null arguments, a missing "://", an empty or unknown scheme;
 * Error_Memory. Error_NotFound is kept for a scheme without a default port; every scheme has one. */
QZ_API ErrorCode URL_NewData(const char* text, URLData** data);

/* Parses a URL text in place.
 * text: cut and unescaped where it stands; must outlive the record. After a failure only the white space at
 * its end may be gone. data: receives pointers into text, nothing to free; all null and port -1 after a
 * failure. Statuses: as URL_NewData, without Error_Memory. */
QZ_API ErrorCode URL_ToData(char* text, URLData* data);

/* Writes the URL text of a record, escaped.
 * data: borrowed; its protocol must not be null.
 * buffer: receives at most 1023 bytes and a terminator. A longer text is cut there, never inside an escape.
 * Statuses: Error_None; Error_Exceed when the text was cut; Error_Invalid for null arguments or a null
 * protocol (buffer then empty). */
QZ_API ErrorCode URL_FromData(const URLData* data, char* buffer);

/* Returns a copy of a record and all its texts in one owned block (free with Memory_Delete), or null when
 * data is null or memory runs out. */
QZ_API URLData* URL_CopyData(const URLData* data);

QZ_END_C

#endif
