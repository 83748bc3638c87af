/* Fetches the ".sha256" file beside a transfer's URLs, on a thread of its own, because a server may keep it
 * waiting for longer than a method may take. */
#ifndef EXTENSIONS_DIGEST_FETCH_H
#define EXTENSIONS_DIGEST_FETCH_H

#include "qz/vrxclient.h"
#include "sha256.h"

#define DIGEST_FETCH_TEXT_SIZE 2048

typedef struct DigestFetch DigestFetch;

/* Before the first fetch, and after the last one: waits a second for threads that still run; then keeps the
 * library loaded, as they need its code. */
ErrorCode DigestFetch_StartSystem(void);
void DigestFetch_EndSystem(void);

/* Starts to fetch the digest of a transfer's file from its servers, in their order until one has it, with the
 * logins, the mode and the meaning of paths that the transfer has. fetch:
 * receives the fetch, owned (free with DigestFetch_Delete); null after a failure. Error_None; Error_Memory.
 */
ErrorCode DigestFetch_Start(const VRXClient* client, DigestFetch** fetch);

/* Waits for the end, at most so long. Returns 1 when it has ended, else 0. */
int DigestFetch_Wait(DigestFetch* fetch, uint32_t milliseconds);

/* After the end. Returns the digest, or null; the URL that it came from; why there is none, as a text. */
const char* DigestFetch_Digest(const DigestFetch* fetch);
const char* DigestFetch_Source(const DigestFetch* fetch);
const char* DigestFetch_Failure(const DigestFetch* fetch);

/* Ends a fetch at any time; a thread that still waits for a server ends on its own. Null: nothing. */
void DigestFetch_Delete(DigestFetch* fetch);

#endif
