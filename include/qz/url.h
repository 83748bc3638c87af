/* URL: splitting a URL text into its parts and putting one together. */
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

/* A parsed URL. The texts point into the block or the buffer that it was parsed from. */
typedef struct URLData {
  char* protocol; /* the scheme as written */
  char* user;     /* may be null */
  char* password; /* may be null */
  char* host;     /* null for "file" URLs */
  int32_t port;   /* explicit port, else the scheme's default; 0 for "file" */
  char* path;     /* with its leading "/"; null for none or "/" */
} URLData;

QZ_API int32_t URL_GetProtocolType(const char* scheme);
QZ_API int32_t URL_GetProtocolPort(const char* scheme);
QZ_API int32_t URL_GetProtocolTypePort(int32_t type);
QZ_API ErrorCode URL_NewData(const char* text, URLData** data);
QZ_API ErrorCode URL_ToData(char* text, URLData* data);
QZ_API ErrorCode URL_FromData(const URLData* data, char* buffer);
QZ_API URLData* URL_CopyData(const URLData* data);

QZ_END_C

#endif
