/* AgentClass: the classes of agents, registered at run time.
 *
 * The classes form one tree, whose root is named "/". A class declares methods in a text, its signature, and
 * comes with a table of implementations for methods that it or a class above it declares:
 *
 *   signature = [ method ";" ] ...
 *   method    = [ "." ] name "(" [ parameter [ "," parameter ] ... ] ")"
 *   parameter = name "=" type [ "*" ]
 *   type      = "bool" | "string" | "integer" | "float" | "object" | the name of a registered class
 *
 * There are no blanks. A name is a letter and then letters and digits. A "." marks a method that is called on
 * the class; others need an agent. A type with "*" is the address of a variable that the method fills. Of two
 * methods or parameters with one name the first counts. The root declares
 *
 *   .register();.unregister();
 *   .classinfo(description=string*,menu=string*,version=integer*,updateURL=string*);
 *   new();delete();traverse(traverse=object,version=integer);
 *
 * "register" is called when a class is registered, and "unregister" when it goes: each for every class from
 * the root down to it (or up from it), with the class data that the new class holds for that level.
 * "traverse" describes the fields of an agent in a record (qz/traverse.h), and is the constructor of one that
 * is read.
 *
 * Classes exist between the start and the end of the transfer system (qz/vrxclientsystem.h). Its start also
 * loads the extensions: files whose names end in ".AXT" in the application's folder, which are dynamic
 * libraries. The library that is loaded registers its classes from its start-up code, which runs on the
 * loading thread: DllMain with DLL_PROCESS_ATTACH, or a constructor function.
 *
 *   #include <qz/agentclass.h>
 *   #include <qz/agentparam.h>
 *
 *   static ErrorCode Completed(void *classData, void *instanceData, AgentParam *params) {
 *     ...
 *     return Error_None;
 *   }
 *   static const AgentMethod methods[] = {{"completed", Completed}, {0, 0}};
 *
 *   static ErrorCode RegisterClasses(void) {
 *     return AgentClass_Register("VRXx", "Example", "", methods, 0, 0);
 *   }
 *
 *   #ifdef _WIN32
 *   BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
 *     return reason != DLL_PROCESS_ATTACH || RegisterClasses() == Error_None;
 *   }
 *   #else
 *   __attribute__((constructor)) static void Start(void) { RegisterClasses(); }
 *   #endif
 *
 * It is linked with this library (qz.dll, libqz.so), the one that the program uses too. Start-up code may
 * register classes, and must not call anything else here that waits: the system lets one thread at a time run
 * such code. A library that registers no class is unloaded at once; one whose load fails although it has
 * registered classes loses them. The others are unloaded when the last of their classes goes. No
 * "unregister" runs for a library whose load has failed, for its code is gone by then.
 *
 * Any thread may call any function here at any time. Implementations are called without a lock of the
 * library's. Nothing here blocks but the implementations. */
#ifndef QZ_AGENTCLASS_H
#define QZ_AGENTCLASS_H

#include "qz/agent.h"
#include "qz/agentparam.h"
#include "qz/error.h"

QZ_BEGIN_C

/* An implementation of a method. Returns a status, or an AgentResult of its own; AgentResult_NotImplemented
 * counts as if there were no implementation.
 * classData: the class's data, zeroed when the class was registered; null when it has none. "register" and
 * "unregister" of a class above another get what the other one holds for that level.
 * instanceData: the agent's data of this class, zeroed when the agent was made; null without an agent, and
 * when the class has none. params: the parameters of the call (qz/agentparam.h). */
typedef ErrorCode (*AgentImplementation)(void* classData, void* instanceData, AgentParam* params);

/* A row of a table of implementations. */
typedef struct AgentMethod {
  const char* name; /* of the method, without the "."; null in the row that ends the table */
  AgentImplementation implementation;
} AgentMethod;

/* Registers a class and calls "register" for every class from the root down to it. A class without an
 * implementation of "register" is passed over, unless it has class data. When one fails, "unregister" is
 * called for the classes above it, and there is no new class.
 * parentName: in; null for the root. className: in, copied; 1 to 1023 bytes. signature: in, copied; null for
 * an empty one. implementations: in, copied, ended by a row with a null name; null for none. A name that no
 * class of the line declares is ignored. classDataSize, instanceDataSize: bytes of data of this class alone,
 * for the class and for each of its agents; 0 for none.
 * Error_None; Error_Invalid: no className, or an empty one, or a signature that cannot be read;
 * Error_Exceed: className is too long; Error_NotFound: no such parent; Error_Exists: the name is taken, in
 * any case; Error_NotInited: the transfer system is not started, or a class has class data and no
 * "register"; Error_Memory; or what a "register" gave, which may be an AgentResult. */
QZ_API ErrorCode AgentClass_Register(const char* parentName, const char* className, const char* signature,
                                     const AgentMethod* implementations, uint32_t classDataSize,
                                     uint32_t instanceDataSize);

/* Returns 1 when the class or one above it declares the method, implemented or not, else 0. 0 when there is
 * no such class; else 1 for a null methodName. */
QZ_API int32_t AgentClass_MethodExists(const char* className, const char* methodName);

/* Names the direct children of a class one by one, the one registered last first.
 * className: in; null or "/" for the root. size: bytes of nameBuffer, above 0; a longer name is cut.
 * nameBuffer: in and out: empty for the first child, else the child before; receives the next one, and is
 * made empty behind the last one and after a failure.
 * Error_None, at the end too; Error_NotFound: no such class, or no class of the name in the buffer;
 * Error_Invalid: the buffer names a class that is no child of className, or nameBuffer is null, or size 0. */
QZ_API ErrorCode AgentClass_Iterate(const char* className, uint32_t size, char* nameBuffer);

/* Calls a method of a class with the pairs (qz/agent.h). Returns what the implementation gives;
 * Error_NotFound: no such class; AgentResult_NotDeclared, also for a null methodName;
 * AgentResult_NoInstance: the method needs an agent; AgentResult_NotImplemented. */
QZ_API int32_t AgentClass_Method(const char* className, const char* methodName, ...);

QZ_END_C

#endif
