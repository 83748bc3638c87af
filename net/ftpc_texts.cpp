// The texts of the FTP reply codes.
#include "net/ftpc_internal.h"
#include "net/ftpc_testing.h"

constexpr StringLookup kFTPReply_Texts[kFTPReply_Count] = {
    {kFTPReply_ReadyMarker, "kFTPReply_ReadyMarker: Restart marker reply. MARK yyyy = mmmm"},
    {kFTPReply_ReadyWait, "kFTPReply_ReadyWait: Service ready in nnn minutes."},
    {kFTPReply_ReadyData, "kFTPReply_ReadyData: Data connection already open;transfer starting."},
    {kFTPReply_ReadyFile, "kFTPReply_ReadyFile: File status okay; about to open data connection."},
    {kFTPReply_Okay, "kFTPReply_Okay: Command okay."},
    {kFTPReply_OkayUnimplemented,
     "kFTPReply_OkayUnimplemented: Command not implemented, superfluous at this site."},
    {kFTPReply_OkaySystem, "kFTPReply_OkaySystem: System status, or system help reply."},
    {kFTPReply_OkayDirectory, "kFTPReply_OkayDirectory: Directory status."},
    {kFTPReply_OkayFile, "kFTPReply_OkayFile: File status."},
    {kFTPReply_OkayHelp, "kFTPReply_OkayHelp: Help message."},
    {kFTPReply_OkaySystemType, "kFTPReply_OkaySystemType: NAME system type."},
    {kFTPReply_OkayReady, "kFTPReply_OkayReady: Service ready for new user."},
    {kFTPReply_OkayCloseControl,
     "kFTPReply_OkayCloseControl: Service closing control connection. Logged out if appropriate."},
    {kFTPReply_OkayOpenData, "kFTPReply_OkayOpenData: Data connection open; no transfer in progress."},
    {kFTPReply_OkayCloseData,
     "kFTPReply_OkayCloseData: Closing data connection. Requested file action successful."},
    {kFTPReply_OkayPassive, "kFTPReply_OkayPassive: Entering Passive Mode (h1,h2,h3,h4,p1,p2)."},
    {kFTPReply_OkayLogin, "kFTPReply_OkayLogin: User logged in, proceed."},
    {kFTPReply_OkayCompleted, "kFTPReply_OkayCompleted: Requested file action okay, completed."},
    {kFTPReply_OkayCreated, "kFTPReply_OkayCreated: \"PATHNAME\" created."},
    {kFTPReply_MaybePassword, "kFTPReply_MaybePassword: User name okay, need password."},
    {kFTPReply_MaybeAccount, "kFTPReply_MaybeAccount: Need account for login."},
    {kFTPReply_MaybeMoreInfo, "kFTPReply_MaybeMoreInfo: Requested file action pending further information."},
    {kFTPReply_DamnShutdown, "kFTPReply_DamnShutdown: Service not available, closing control connection."},
    {kFTPReply_DamnData, "kFTPReply_DamnData: Can't open data connection."},
    {kFTPReply_DamnConnection, "kFTPReply_DamnConnection: Connection closed; transfer aborted."},
    {kFTPReply_DamnFileBusy, "kFTPReply_DamnFileBusy: Requested file action not taken. File unavailable."},
    {kFTPReply_DamnServer, "kFTPReply_DamnServer: Requested action aborted: local error in processing."},
    {kFTPReply_DamnStorage,
     "kFTPReply_DamnStorage: Requested action not taken. Insufficient storage space in system."},
    {kFTPReply_ErrorSyntax, "kFTPReply_ErrorSyntax: Syntax error, command unrecognized."},
    {kFTPReply_ErrorParam, "kFTPReply_ErrorParam: Syntax error in parameters or arguments."},
    {kFTPReply_ErrorUnimplemented, "kFTPReply_ErrorUnimplemented: Command not implemented."},
    {kFTPReply_ErrorSequence, "kFTPReply_ErrorSequence: Bad sequence of commands."},
    {kFTPReply_ErrorUnimplementedParam,
     "kFTPReply_ErrorUnimplementedParam: Command not implemented for that parameter."},
    {kFTPReply_ErrorNoLogin, "kFTPReply_ErrorNoLogin: Not logged in."},
    {kFTPReply_ErrorNoAccount, "kFTPReply_ErrorNoAccount: Need account for storing files."},
    {kFTPReply_ErrorNoAccess, "kFTPReply_ErrorNoAccess: Requested action not taken. File unavailable."},
    {kFTPReply_ErrorPage, "kFTPReply_ErrorPage: Requested action aborted: page type unknown."},
    {kFTPReply_ErrorStorage,
     "kFTPReply_ErrorStorage: Requested file action aborted. Exceeded storage allocation."},
    {kFTPReply_ErrorFileName, "kFTPReply_ErrorFileName: Requested action not taken. File name not allowed."},
};

namespace {

constexpr bool IsAscending() {
  for (uint32_t i = 1; i < kFTPReply_Count; ++i) {
    if (kFTPReply_Texts[i - 1].key >= kFTPReply_Texts[i].key) return false;
  }
  return true;
}
static_assert(IsAscending());

}  // namespace
