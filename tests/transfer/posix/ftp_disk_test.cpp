// Downloads over FTP to a disk that fills up, where one can be arranged.
#include "tests/support/file_system.h"
#include "tests/transfer/ftp_trace.h"

using namespace script;

namespace transfer {
namespace {

class FTPDisk : public FTPTransferTest {};

TEST_F(FTPDisk, FailsAndResumes_WhenTheDiskWasFull) {
  const std::string begin(8192, 'a');
  const std::string end(11808, 'b');
  ScriptedServer server({ftp::Join({wire::Begins(),
                                    wire::TellsSize("20000"),
                                    wire::CanRestart(),
                                    wire::StartsRetrieve(),
                                    {DataSend(begin + end), DataStall()},
                                    wire::IsAborted()}),
                         ftp::Join({wire::Begins(), wire::TellsSize("20000"), wire::RestartsAt("8192"),
                                    wire::SendsAndQuits(end)})});
  auto download = Get(server);
  download->RunToState(11);
  download->Take();
  {
    const DiskLimit full(8192);
    EXPECT_EQ(download->Run(), 4);
  }
  EXPECT_EQ(WithoutDataSteps(download->Take()),
            (Lines{"Can't write to file. The disk may be full.", "Download stopped.", "Idle: 4, state 0"}));
  EXPECT_EQ(download->Reason(), 20u);
  EXPECT_EQ(Servers(*download), Lines{"ftp://SERVER0/pub/f.bin"});
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), begin);
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), begin + end);
}

}  // namespace
}  // namespace transfer
