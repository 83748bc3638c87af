/* VRXPrefs: the user's settings for all transfers.
 *
 * There is one record, read when the transfer system starts (VRXClientSystem_Init) from the file
 * <cache directory>/<application name>VRXPrefs, which is made with the defaults when it is missing. A program
 * reads and changes it between VRXPrefs_BeginAccess and VRXPrefs_EndAccess, and keeps what it changed with
 * VRXPrefs_Changed:
 *
 *   VRXPrefs* prefs = VRXPrefs_BeginAccess();
 *   if (prefs != NULL) {
 *     prefs->downloadType = VRXTransferType_Text;
 *     status = VRXPrefs_Changed();
 *     VRXPrefs_EndAccess();
 *   }
 *
 * Any thread may do so; the others, transfers among them, wait meanwhile without a limit, so be quick and
 * call nothing else of the library. docs/formats.md shows the file. */
#ifndef QZ_VRXPREFS_H
#define QZ_VRXPREFS_H

#include "qz/types.h"

QZ_BEGIN_C

/* The bytes that the file has for a text or a host name, the terminator among them. */
enum { VRXPrefsSize_Text = 1024, VRXPrefsSize_Name = 256 };

/* How FTP moves a file. */
enum VRXTransferType {
  VRXTransferType_Default = 0, /* binary */
  VRXTransferType_Binary = 1,
  VRXTransferType_Text = 2
};

/* The settings, in the order of the file. Flags are 0 or 1. What is called flag, number or text with a number
 * has no meaning for the library, which only keeps it for the application. Texts have at most 1022 bytes,
 * names 254; the bytes behind stay 0. */
typedef struct VRXPrefs {
  int32_t flag1;      /* 0 */
  int32_t flag2;      /* 1 */
  int32_t flag3;      /* 0 */
  int32_t flag4;      /* 0 */
  uint8_t uploadType; /* enum VRXTransferType; VRXTransferType_Default */
  int32_t flag5;      /* 0 */
  /* Where downloads without a path go; the desktop (SysDir_Desk). */
  char downloadDirectory[VRXPrefsSize_Text + 1];
  int32_t flag6;                           /* 0 */
  char text1[VRXPrefsSize_Text + 1];       /* empty */
  uint8_t downloadType;                    /* enum VRXTransferType; VRXTransferType_Default */
  int32_t flag7;                           /* 0 */
  uint8_t number1;                         /* 10 */
  uint8_t number2;                         /* 2 */
  int32_t isDialUpEnabled;                 /* transfers dial when they need to; 0 */
  char dialUpEntry[VRXPrefsSize_Text + 1]; /* the entry they dial; empty */
  int32_t hangsUpWhenDone;                 /* dial-up: hang up when no transfer needs the line; 0 */
  int32_t upgradeFlag;                     /* 1; whether a check for upgrades is due does not depend on it */
  uint32_t number3;                        /* 1 */
  uint32_t lastUpgradeCheckSeconds;        /* when a check last succeeded, since 1970; 0: never */
  /* What anonymous FTP logins send; "user@example.invalid". */
  char anonymousPassword[VRXPrefsSize_Name + 1];
  int32_t flag8;                             /* 0 */
  int32_t flag9;                             /* 0 */
  int32_t flag10;                            /* 0 */
  char text2[VRXPrefsSize_Text + 1];         /* empty */
  char text3[VRXPrefsSize_Text + 1];         /* empty */
  int32_t isProxyEnabled;                    /* connections go through the proxies below; 0 */
  char ftpProxyHost[VRXPrefsSize_Name + 1];  /* empty: none */
  uint16_t ftpProxyPort;                     /* 21 */
  char httpProxyHost[VRXPrefsSize_Name + 1]; /* empty: none */
  uint16_t httpProxyPort;                    /* 80 */
  char proxyBypass[VRXPrefsSize_Text + 1];   /* hosts reached directly, as for Proxy_SetBypassList; empty */
} VRXPrefs;

/* Waits without a limit until no other thread has access, and returns the record (the library's own); null
 * before the transfer system's start. Each success needs a VRXPrefs_EndAccess. A thread that has access must
 * not ask for it again. */
QZ_API VRXPrefs* VRXPrefs_BeginAccess(void);

/* Ends the access; the record must not be used then. Nothing happens before the transfer system's start. */
QZ_API void VRXPrefs_EndAccess(void);

/* Writes the record to the file, then hands the proxy settings to the proxy table (qz/proxy.h), also when the
 * file cannot be written. Between the two calls above or outside of them; outside it waits as
 * VRXPrefs_BeginAccess does. The file is replaced whole: after a failure, and whatever interrupts the call,
 * the old one stands there.
 *
 * Several programs may have the file. What another one has stored since this one read or wrote it is kept,
 * and comes into the record; of a field that both have changed this program's value stands. The call waits
 * for other programs that write, at most two seconds.
 *
 * Error_None; Error_NotInited before the transfer system's start; Error_Invalid when a text has no end within
 * its room or is too long for the file, nothing is done then; Error_Memory; Error_Exceed for a full disk;
 * else what File_Open gives for the file or the new one, and Error_Fail when writing, closing or replacing
 * fails. */
QZ_API ErrorCode VRXPrefs_Changed(void);

QZ_END_C

#endif
