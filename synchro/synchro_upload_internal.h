// A file onto an FTP server in a guarded run.
#pragma once

#include "synchro/synchro_copy_internal.h"

// Stores an open file, which is read from its place on, and lets it take the place of the old one when it is
// complete; the size in *made is what was sent, the time kSynchroUnknownTime. After a failure the old file
// is there, and what was stored is removed, within a second when the run is stopped; what cannot be removed
// is remembered for the next run. Error_Ended when the file came incomplete; else what the server or the
// local file gives.
ErrorCode iSynchro_Upload(const SynchroCopy& copy, File* file, uint64_t length, SynchroSide* made);

// Removes what earlier runs could not, once a connection: files under temporary names, and old files that
// were moved aside, which get their names back where nothing has taken their place. Nothing on other sides.
void iSynchro_CleanServer(SynchroConnection* side, SynchroTemporary* temporary);

// How a server's file is remembered: "ftp://user@host:port/path". Error_Exceed.
ErrorCode iSynchro_ServerName(const SynchroConnection& side, const char* path, char (&name)[kFileNameSize]);
