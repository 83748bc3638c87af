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

/* Asks whether the extension takes a URL. Returns what "checkURL" gives, but Error_NotFound for
 * Error_NotInited; Error_NotFound when there is no class "HBN"; a value of enum AgentResult (qz/agent.h). */
QZ_API int32_t QMDClient_CheckURL(const char* url);

/* Has the extension make a transfer ("newvrxc"), and sets its callbacks.
 * methods: borrowed until the transfer ends; may be null. verb: out, may be null; what the method stored, or
 * 0. client: out; owned (end with VRXClient_Close or VRXClient_Delete); null after a failure.
 * Error_None; Error_Invalid when there is no class "HBN", when the method gave Error_NotFound or stored no
 * transfer, and for a null client; else what the method gave. */
QZ_API int32_t QMDClient_NewDownload(const char* url, Word userData, const VRXClientMethods* methods,
                                     int32_t* verb, VRXClient** client);

/* Returns the suffix of the extension's URLs ("getsuffix"), a text of the extension's, or null. */
QZ_API const char* QMDClient_GetURLSuffix(void);

QZ_END_C

#endif
