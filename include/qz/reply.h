/* The reply record that the FTP and HTTP clients fill. */
#ifndef QZ_REPLY_H
#define QZ_REPLY_H

#include "qz/types.h"

/* Owned by the caller and passed to every call. Empty after a call that read no reply: class and code 0 and
 * an empty text. */
typedef struct Reply {
  int32_t replyClass; /* first character of the code, as a character: '1' (49) to '5' (53) */
  int32_t code;       /* the three-digit code */
  /* FTP: text of the last reply line; HTTP: first word of the reason phrase. Always terminated. */
  char text[1024];
} Reply;

#endif
