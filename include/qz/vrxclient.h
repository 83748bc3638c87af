/* VRXClient: a resumable transfer of one file between a server and the disk. */
#ifndef QZ_VRXCLIENT_H
#define QZ_VRXCLIENT_H

#include "qz/agent.h"
#include "qz/traverse.h"

QZ_BEGIN_C

/* Opaque. */
typedef struct VRXClient VRXClient;

/* Why a transfer failed, or dropped its last server: the value of VRXClient_GetError. */
enum VRXClientReason {
  VRXClientReason_None = 0,
  VRXClientReason_Memory = 1,          /* out of memory */
  VRXClientReason_OpenDataFile = 2,    /* the data file cannot be opened */
  VRXClientReason_DataFile = 3,        /* it cannot be found, read, created, or written at its start */
  VRXClientReason_Login = 5,           /* the FTP server refused every login */
  VRXClientReason_NoSource = 6,        /* the file to upload and its cached copy are missing */
  VRXClientReason_EmptySource = 7,     /* the file to upload is empty */
  VRXClientReason_NoServer = 8,        /* no server or mirror is left */
  VRXClientReason_Denied = 9,          /* the server denied the connection */
  VRXClientReason_InvalidAddress = 10, /* Error_Invalid or Error_NotFound */
  VRXClientReason_Timeout = 11,        /* the connection timed out */
  VRXClientReason_IsDirectory = 12,    /* the FTP path names a directory */
  VRXClientReason_Unknown = 13,        /* a step failed without a status */
  VRXClientReason_Directory = 14,      /* the FTP directory cannot be entered */
  VRXClientReason_ServerClosed = 15,   /* the server closed the connection */
  VRXClientReason_Agent = 17,          /* an agent failed on completion */
  VRXClientReason_WebPage = 18,        /* the content is a web page */
  VRXClientReason_DiskFull = 20,       /* the disk is full, or too small */
  VRXClientReason_Redirected = 21,     /* the HTTP server redirected the request */
  VRXClientReason_NoDestination = 22   /* the destination's directory does not exist */
};

/* What an application is told of a transfer; each slot may be null. Called within the functions below, on
 * their thread. userData: what the application gave with the table. */
typedef struct VRXClientMethods {
  void (*message)(Word userData, const char* text);               /* every message, without a line end */
  void (*progress)(Word userData, uint32_t done, uint32_t total); /* bytes */
  void (*size)(Word userData, uint32_t size);                     /* as VRXClient_GetSize gives it */
  void (*time)(Word userData, uint32_t value); /* seconds left; milliseconds elapsed once the data is
                                                  complete; 4294967295 when unknown */
  void (*speed)(Word userData, float bytesPerSecond);
  void (*logChanged)(Word userData); /* the text that VRXClient_GetInfo gave is no longer valid */
} VRXClientMethods;

/* The same with 64-bit sizes; an addition. Progress is reported once for each data step. */
typedef struct VRXClientMethods64 {
  void (*message)(Word userData, const char* text);
  void (*progress)(Word userData, uint64_t done, uint64_t total);
  void (*size)(Word userData, uint64_t size); /* all ones when unknown */
  void (*time)(Word userData, uint32_t value);
  void (*speed)(Word userData, float bytesPerSecond);
  void (*logChanged)(Word userData);
} VRXClientMethods64;

QZ_END_C

#endif
