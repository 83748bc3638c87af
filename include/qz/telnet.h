/* Telnet: lines ended by CR LF over a stream, with an optional log.
 *
 * The record owns its stream, normally a connected socket, and its log file. Receiving and sending wait as
 * the stream does. One thread uses a record at a time. Null arguments give Error_Invalid where a status is
 * returned, and otherwise nothing happens. */
#ifndef QZ_TELNET_H
#define QZ_TELNET_H

#include "qz/sock.h"

QZ_BEGIN_C

typedef struct Telnet Telnet;

/* Makes a line connection; no bytes are exchanged.
 * stream: taken over, deleted with the record. userValue: kept for the owner, not used here.
 * Returns the record, owned by the caller (free with Telnet_Close or Telnet_Delete), or null when memory runs
 * out or the stream is null; the stream then stays the caller's. */
QZ_API Telnet* Telnet_Open(Stream* stream, Word userValue);

/* Logs from now on to the end of a file, which is made when it does not exist. When the log has that name
 * already, nothing changes.
 * On failure the status of File_Open is returned and the old log stays. */
QZ_API ErrorCode Telnet_SetLog(Telnet* telnet, const char* fileName);

/* Writes a remark to the log: "# " and the formatted text, both cut at 1022 characters, and a line end unless
 * the text brings it.
 * Error_NotInited when there is no log, Error_Fail when it cannot be formatted or written. */
QZ_API ErrorCode Telnet_Log(Telnet* telnet, const char* format, ...) QZ_PRINTF(2, 3);

/* Returns the socket beneath the stream, still the record's; null when there is none. */
QZ_API Sock* Telnet_GetSocket(Telnet* telnet);

/* Receives one line and logs it with "< ". Its CR LF becomes a single LF; a CR or LF alone is data, and so
 * are zero bytes and telnet commands. A line longer than the buffer is given in parts, each without an LF at
 * its end. bufferSize: bytes, the terminator included. lengthOut: out, the number of bytes stored with the
 * terminator; may be null. buffer: out, zero-terminated. Error_Ended when the stream ends or fails (its own
 * status tells why): the length is 0, the buffer holds the part without a terminator, and nothing is logged.
 * Error_Exceed when bufferSize is 0; nothing is read. */
QZ_API ErrorCode Telnet_ReceiveLine(Telnet* telnet, uint32_t bufferSize, uint32_t* lengthOut, char* buffer);

/* Send one line, formatted or as it is: logs it with "> ", and writes it and CR LF by one write. The text is
 * at most 4093 characters; over that, and when it cannot be formatted, Error_Exceed, and nothing is logged or
 * sent. Error_Ended when the stream does not take it all; logged as "! Failed". A failing log changes
 * nothing. */
QZ_API ErrorCode Telnet_PrintLine(Telnet* telnet, const char* format, ...) QZ_PRINTF(2, 3);
QZ_API ErrorCode Telnet_SendLine(Telnet* telnet, const char* text);

/* Shuts the socket beneath down in both directions, if there is one, and deletes the record. */
QZ_API void Telnet_Close(Telnet* telnet);

/* Deletes the stream, closes the log and frees the record. */
QZ_API void Telnet_Delete(Telnet* telnet);

QZ_END_C

#endif
