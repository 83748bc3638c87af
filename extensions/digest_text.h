/* Digests as texts: how they are written, and in which file beside another one they stand. Pure. */
#ifndef EXTENSIONS_DIGEST_TEXT_H
#define EXTENSIONS_DIGEST_TEXT_H

#include <stddef.h>

#include "qz/types.h"
#include "sha256.h"

/* Reads a digest that stands alone: 64 hexadecimal digits in any case. digest: receives it in lower case;
 * empty after a failure. Returns 1 or 0. */
int DigestText_Read(const char* text, char digest[SHA256_TEXT_SIZE]);

/* Finds the digest of a file in the text of a ".sha256" file:
 *
 *   DIGEST
 *   DIGEST  path/NAME          DIGEST *path/NAME
 *   SHA256 (path/NAME) = DIGEST
 *
 * Lines of any other form are passed over. The first line with the name counts; when none has it, the only
 * digest of the text does. digest: as above. Returns 1 or 0. */
int DigestText_Find(size_t length, const char* text, const char* name, char digest[SHA256_TEXT_SIZE]);

/* Makes the URL of the ".sha256" file beside a URL. The suffix goes before a query; a fragment is dropped.
 * buffer: 1024 bytes. name: 1024 bytes, may be null; receives the name of the file, unescaped.
 * Error_None; Error_Invalid for what is no URL of a file; Error_Exceed; Error_Memory. */
ErrorCode DigestText_URLBeside(const char* url, char* buffer, char* name);

#endif
