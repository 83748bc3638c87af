/* The words and steps have the names that the standard gives them: W, K, a to h, T1, T2. */
#include "sha256.h"

#include <string.h>

#define LENGTH_OFFSET 56 /* the last 8 bytes of the last block hold the length in bits */

static const uint32_t kStart[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                   0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

static const uint32_t K[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

static uint32_t RotateRight(uint32_t word, int bits) {
  return word >> bits | word << (32 - bits);
}

static uint32_t ReadBigEndian(const uint8_t* bytes) {
  return (uint32_t)bytes[0] << 24 | (uint32_t)bytes[1] << 16 | (uint32_t)bytes[2] << 8 | bytes[3];
}

static void ExpandSchedule(const uint8_t* block, uint32_t W[64]) {
  for (int t = 0; t < 16; ++t) W[t] = ReadBigEndian(block + 4 * t);
  for (int t = 16; t < 64; ++t) {
    const uint32_t s0 = RotateRight(W[t - 15], 7) ^ RotateRight(W[t - 15], 18) ^ W[t - 15] >> 3;
    const uint32_t s1 = RotateRight(W[t - 2], 17) ^ RotateRight(W[t - 2], 19) ^ W[t - 2] >> 10;
    W[t] = s1 + W[t - 7] + s0 + W[t - 16];
  }
}

static void AddBlock(Sha256* sha, const uint8_t* block) {
  uint32_t W[64];
  ExpandSchedule(block, W);
  uint32_t a = sha->state[0], b = sha->state[1], c = sha->state[2], d = sha->state[3];
  uint32_t e = sha->state[4], f = sha->state[5], g = sha->state[6], h = sha->state[7];
  for (int t = 0; t < 64; ++t) {
    const uint32_t s1 = RotateRight(e, 6) ^ RotateRight(e, 11) ^ RotateRight(e, 25);
    const uint32_t T1 = h + s1 + ((e & f) ^ (~e & g)) + K[t] + W[t];
    const uint32_t s0 = RotateRight(a, 2) ^ RotateRight(a, 13) ^ RotateRight(a, 22);
    const uint32_t T2 = s0 + ((a & b) ^ (a & c) ^ (b & c));
    h = g, g = f, f = e, e = d + T1;
    d = c, c = b, b = a, a = T1 + T2;
  }
  const uint32_t sums[8] = {a, b, c, d, e, f, g, h};
  for (int i = 0; i < 8; ++i) sha->state[i] += sums[i];
}

void Sha256_Start(Sha256* sha) {
  memset(sha, 0, sizeof *sha);
  memcpy(sha->state, kStart, sizeof kStart);
}

void Sha256_Add(Sha256* sha, size_t count, const void* bytes) {
  const uint8_t* next = (const uint8_t*)bytes;
  while (count != 0) {
    const size_t held = (size_t)(sha->lengthBytes % SHA256_BLOCK_SIZE);
    const size_t taken = count < SHA256_BLOCK_SIZE - held ? count : SHA256_BLOCK_SIZE - held;
    const uint8_t* block = taken == SHA256_BLOCK_SIZE ? next : sha->block;
    if (block != next) memcpy(sha->block + held, next, taken);
    sha->lengthBytes += taken;
    if (held + taken == SHA256_BLOCK_SIZE) AddBlock(sha, block);
    next += taken;
    count -= taken;
  }
}

/* A bit 1, zeroes up to the length of the message in bits. */
static void AddPadding(Sha256* sha) {
  static const uint8_t padding[SHA256_BLOCK_SIZE] = {0x80};
  const uint64_t lengthBits = sha->lengthBytes * 8;
  const size_t held = (size_t)(sha->lengthBytes % SHA256_BLOCK_SIZE);
  const size_t room = held < LENGTH_OFFSET ? LENGTH_OFFSET : LENGTH_OFFSET + SHA256_BLOCK_SIZE;
  uint8_t length[8];
  for (int i = 0; i < 8; ++i) length[i] = (uint8_t)(lengthBits >> (56 - 8 * i));
  Sha256_Add(sha, room - held, padding);
  Sha256_Add(sha, sizeof length, length);
}

void Sha256_End(Sha256* sha, char text[SHA256_TEXT_SIZE]) {
  static const char digits[] = "0123456789abcdef";
  AddPadding(sha);
  for (int i = 0; i < 64; ++i) text[i] = digits[sha->state[i / 8] >> (28 - i % 8 * 4) & 15];
  text[64] = '\0';
}
