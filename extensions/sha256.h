/* SHA-256 (FIPS 180-4). Pure: bytes in, digest out. */
#ifndef EXTENSIONS_SHA256_H
#define EXTENSIONS_SHA256_H

#include <stddef.h>
#include <stdint.h>

#define SHA256_BLOCK_SIZE 64
#define SHA256_TEXT_SIZE 65 /* 64 hexadecimal digits and a terminator */

typedef struct Sha256 {
  uint32_t state[8];
  uint64_t lengthBytes;
  uint8_t block[SHA256_BLOCK_SIZE]; /* the begin of a block that is not complete yet */
} Sha256;

void Sha256_Start(Sha256* sha);
void Sha256_Add(Sha256* sha, size_t count, const void* bytes);

/* Ends the message. text: receives the digest in lower case. */
void Sha256_End(Sha256* sha, char text[SHA256_TEXT_SIZE]);

#endif
