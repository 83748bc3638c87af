// One guarded run of a synchroniser to the destination, subdirectories too, as a program:
//   synchro_driver CACHE SOURCE DESTINATION
// CACHE: where the tables are kept. Prints what was copied; exit code 0 when the run has finished.
#include <cstdio>
#include <string>

#include "qz/error.h"
#include "qz/os.h"
#include "qz/synchro.h"

int main(int count, char** words) {
  if (count != 4) return 2;
  if (OS_Init("synchro_driver", OSInitCode_End) != Error_None) return 2;
  const std::string source = std::string("file://") + words[2];
  const std::string destination = std::string("file://") + words[3];
  Synchro* synchro = nullptr;
  Synchro_NewIn(words[1], "bench", SynchroFlag_ToDestination | SynchroFlag_Recurse, source.c_str(),
                destination.c_str(), &synchro);
  if (synchro == nullptr || Synchro_SetGuarded(synchro, 1) != Error_None) return 2;
  Synchro_Go(synchro);
  uint32_t counters[SynchroCounter_Count];
  int32_t state = SynchroState_Running;
  while ((state = Synchro_Status(synchro, counters)) == SynchroState_Running) OS_Delay(0.001f);
  Synchro_Delete(synchro);
  OS_Exit(0);
  printf("copied %u\n", counters[SynchroCounter_CopiedToDestination]);
  return state == SynchroState_Finished ? 0 : 1;
}
