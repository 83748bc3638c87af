/* The reply record that the FTP and HTTP clients fill. */
#ifndef QZ_REPLY_H
#define QZ_REPLY_H

#include "qz/types.h"

/* Owned by the caller. After a failure without a reply: class and code 0, text empty. */
typedef struct Reply {
  int32_t replyClass; /* first digit of the code as a character: '1' to '5' */
  int32_t code;       /* the three-digit code */
  char text[1024];    /* FTP: text of the last reply line; HTTP: first word of the reason phrase */
} Reply;

#endif
