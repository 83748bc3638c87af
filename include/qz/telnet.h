/* Telnet: lines ended by CR LF over a stream, with an optional log.
 *
 * The line connection owns its stream, normally a connected socket, and its log file. Receiving and sending
 * wait as the stream does. One thread uses a line connection at a time. Null arguments give Error_Invalid
 * where a status is returned; otherwise nothing happens. */
#ifndef QZ_TELNET_H
#define QZ_TELNET_H

#include "qz/sock.h"

QZ_BEGIN_C

typedef struct Telnet Telnet;

/* Creates a line connection; exchanges no bytes.
 * stream: taken over, deleted with the line connection. userValue: ignored.
 * Returns the line connection, owned by the caller (free with Telnet_Close or Telnet_Delete), or null when
 * memory runs out or the stream is null; the stream then stays the caller's. */
QZ_API Telnet* Telnet_Open(Stream* stream, Word userValue);

/* Appends the log to a file from now on, and creates it when it does not exist. Nothing changes when the log
 * has that name already. On failure returns the status of File_Open and keeps the old log. */
QZ_API ErrorCode Telnet_SetLog(Telnet* telnet, const char* fileName);

/* Writes a comment to the log: "# " and the formatted text, together cut at 1022 characters, and a line end
 * unless the text has one.
 * Error_NotInited when there is no log, Error_Fail when it cannot be formatted or written. */
QZ_API ErrorCode Telnet_Log(Telnet* telnet, const char* format, ...) QZ_PRINTF(2, 3);

/* Returns the socket that the stream is or wraps, still owned by the line connection; null when there is
 * none.
 */
QZ_API Sock* Telnet_GetSocket(Telnet* telnet);

/* Receives one line and logs it with "< ". Its CR LF becomes a single LF; a CR or LF alone is data, and so
 * are zero bytes and telnet commands. A line longer than the buffer is given in parts, each without an LF at
 * its end. bufferSize: bytes, the terminator included. lengthOut: out, the number of bytes stored with the
 * terminator; may be null. buffer: out, zero-terminated. Error_Ended when the stream ends or fails (its own
 * status tells why): the length is 0, the buffer holds the partial line without a terminator, and nothing is
 * logged.
 * Error_Exceed when bufferSize is 0; nothing is read. */
QZ_API ErrorCode Telnet_ReceiveLine(Telnet* telnet, uint32_t bufferSize, uint32_t* lengthOut, char* buffer);

/* Send one line, formatted or as it is: log it with "> ", then write it and CR LF with one write. The text
 * has at most 4093 characters; Error_Exceed when it is longer or cannot be formatted, and nothing is logged
 * or sent. Error_Ended when the stream does not accept all of it; logged as "! Failed". A failing log changes
 * nothing. */
QZ_API ErrorCode Telnet_PrintLine(Telnet* telnet, const char* format, ...) QZ_PRINTF(2, 3);
QZ_API ErrorCode Telnet_SendLine(Telnet* telnet, const char* text);

/* Shuts the socket down in both directions, if there is one, and deletes the line connection. */
QZ_API void Telnet_Close(Telnet* telnet);

/* Deletes the stream, closes the log and frees the line connection. */
QZ_API void Telnet_Delete(Telnet* telnet);

QZ_END_C

#endif
