/* QMDClient: downloads that an extension makes. They are methods of a class "HBN", which the extension
 * registers with the signature
 *
 *   .checkURL(url=string);.newvrxc(url=string,verb=integer*,vrxc=object*);.getsuffix(urlPtr=string*);
 *
 * Any thread may call these, as far as the extension allows it. A call blocks as long as its method does. */
#ifndef QZ_QMDCLIENT_H
#define QZ_QMDCLIENT_H

#include "qz/vrxclient.h"

QZ_BEGIN_C

/* Asks whether the extension takes a URL. url: borrowed; it is passed on as it is, null too. Returns what
 * "checkURL" gives, but Error_NotFound for Error_NotInited; Error_NotFound when there is no class "HBN"; a
 * value of enum AgentResult (qz/agent.h). */
QZ_API int32_t QMDClient_CheckURL(const char* url);

/* Has the extension make a transfer ("newvrxc"), and sets its callbacks.
 * url: as above. userData: passed to the callbacks as it is. methods: borrowed until the transfer ends or
 * other ones are set; may be null. verb: out, may be null; what the method stored, or
 * 0. client: out; owned (end with VRXClient_Close or VRXClient_Delete); null after a failure.
 * Error_None; Error_Invalid when there is no class "HBN", when the method gave Error_NotFound or stored no
 * transfer, and for a null client; else what the method gave. */
QZ_API int32_t QMDClient_NewDownload(const char* url, Word userData, const VRXClientMethods* methods,
                                     int32_t* verb, VRXClient** client);

/* Returns the suffix of the extension's URLs ("getsuffix"), or null. The text is the extension's, and valid
 * as long as the extension keeps it: until VRXClientSystem_Exit, which unloads it, at the longest. Copy what
 * is needed longer. */
QZ_API const char* QMDClient_GetURLSuffix(void);

QZ_END_C

#endif
