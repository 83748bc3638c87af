/* Traverse: the serialization context.
 *
 * A record is described once, by a function that calls the field functions below on each of its members in
 * order. The context's mode decides what such a call does: clear the member, give it its memory, free that,
 * read it from a stream or write it to one.
 *
 *   static void Describe(Traverse* traverse, void* record) {
 *     Example* example = record;
 *     Traverse_Tag(traverse, 0x6D617865, &example->tag);
 *     Traverse_Version(traverse, 1, &example->version);
 *     Traverse_String(traverse, sizeof example->name, example->name);
 *     Traverse_BUns32(traverse, &example->count, &example->numbers);
 *   }
 *   Traverse_DataInit(NULL, Describe, &example);
 *   status = Traverse_DataRead(traverse, Describe, &example);
 *
 * On the stream a record is its fields one after the other, without names or padding; docs/formats.md shows
 * the bytes. Numbers are little-endian, in a context for network byte order big-endian.
 *
 * The context keeps an error. Once it is set, and is not Error_Exceed, every further field does nothing and
 * returns it, so a describe function calls all fields and its caller looks at the error once. Error_Exceed
 * (something did not fit its buffer) stops nothing and goes with the next field that succeeds.
 *
 * Memory that fields allocate is recorded until the outermost End. If the error is set there, and is not
 * Error_Exceed, all of it is freed and the record's pointers are dangling: clear the record with
 * Traverse_DataInit, never run Traverse_DataDelete on it. Otherwise the memory is the record's, each block a
 * block of Memory_New: Traverse_DataDelete frees it, or Memory_Delete. Blocks that mode Delete frees inside a
 * Start and End that has allocated may stay until that End.
 *
 * Every field function gives Error_Invalid for a null traverse, and, where the mode looks at it, for a null
 * pointer, which then becomes the error. In a mode in which a field has nothing to do it returns Error_None
 * and changes nothing. In mode Read a field gives Error_Ended when the stream comes short, in mode Write when
 * it takes less; a context without a stream moves 0 bytes. Elements of more than 4294967295 bytes in one
 * field give Error_Invalid. Error_Memory: a field could not allocate.
 *
 * A context lives from Traverse_New or File_OpenTraverse to Traverse_Delete. It blocks where its stream does.
 * One thread uses it at a time. */
#ifndef QZ_TRAVERSE_H
#define QZ_TRAVERSE_H

#include "qz/file.h"
#include "qz/stream.h"
#include "qz/time.h"

QZ_BEGIN_C

/* Opaque. */
typedef struct Traverse Traverse;

/* What a field does. */
enum TraverseMode {
  TraverseMode_Init = 0,   /* becomes 0, empty or null; what it pointed to is not freed */
  TraverseMode_New = 1,    /* gets a block for the count that stands in the record */
  TraverseMode_Delete = 2, /* frees its block */
  TraverseMode_Read = 3,   /* is read from the stream */
  TraverseMode_Write = 4   /* is written to the stream */
};

/* Names the fields of the record at argument. */
typedef void (*TraverseDescribe)(Traverse* traverse, void* argument);

/* ---- context ---- */

/* Returns a new context in mode Init without an error (free with Traverse_Delete), or null when memory runs
 * out. networkOrder: not 0 for big-endian numbers on the stream. stream: taken over; may be null when nothing
 * is read or written. After null it remains the caller's. */
QZ_API Traverse* Traverse_New(int32_t networkOrder, Stream* stream);

/* Opens a file (File_Open, with its modes, enum FileMode) and returns a context over it, owned, in *traverse
 * (free with Traverse_Delete, which also closes the file); null after a failure. Numbers are little-endian.
 * file: null, or receives the open file, which stays the context's; null after a failure.
 * A file that is only read (FileMode_Read) is read through a buffer of 4096 bytes: Traverse_GetStream gives
 * the buffer's stream, and the file's own position is not defined until Traverse_Delete. For a file that is
 * only written (FileMode_Write, FileMode_Append) up to 4096 bytes are gathered and written by the outermost
 * End; when they cannot be written the error becomes Error_Ended. A file for update is not buffered. With
 * FileMode_Text bytes of a record may be taken for line ends, or for the end.
 * Error_None; Error_Memory, also when the context cannot be made, the file is closed then; Error_Invalid when
 * traverse or name is null; else what File_Open gives. */
QZ_API ErrorCode File_OpenTraverse(const char* name, uint32_t mode, File** file, Traverse** traverse);

/* Writes what was gathered, deletes the stream, frees every block that is still recorded, and the context.
 * Null is ignored. */
QZ_API void Traverse_Delete(Traverse* traverse);

/* Sets the mode (enum TraverseMode). Another value changes nothing; null is ignored. */
QZ_API void Traverse_SetMode(Traverse* traverse, int32_t mode);

/* Returns the mode; Error_Invalid for null. */
QZ_API int32_t Traverse_GetMode(const Traverse* traverse);

/* Returns the stream (borrowed), or null when there is none or for a null traverse. What was gathered is
 * written first, as by the outermost End. */
QZ_API Stream* Traverse_GetStream(Traverse* traverse);

/* Sets the error and returns it: Error_None lets the fields work again, a status of the caller's own stops
 * them. Error_Invalid for null. */
QZ_API ErrorCode Traverse_SetError(Traverse* traverse, ErrorCode code);

/* Returns the error; Error_Invalid for null. */
QZ_API ErrorCode Traverse_GetError(const Traverse* traverse);

/* ---- running a describe function ---- */

/* Begins a record, or a part of one: goes one level deeper and returns the traverse. Null gives null. Each
 * Start needs its End: while one is open, what was gathered waits, and the blocks stay recorded, so that
 * Traverse_Delete frees them. */
QZ_API Traverse* Traverse_Start(Traverse* traverse);

/* Ends what Start began. At the outermost level what was gathered is written, and the recorded blocks are
 * freed when the error is set and is not Error_Exceed, else left to the record. Without a Start, or for null,
 * it does nothing. */
QZ_API void Traverse_End(Traverse* traverse);

/* Start, describe(traverse, argument), End, in the mode that is set. The outcome is the error. A null
 * traverse or describe is ignored. */
QZ_API void Traverse_Data(Traverse* traverse, TraverseDescribe describe, void* argument);

/* As Traverse_Data with the describe function of the current mode. table: borrowed, five functions by mode
 * (enum TraverseMode); nothing happens in a mode whose entry is null. A null traverse or table is ignored. */
QZ_API void Traverse_ModeMethodTable(Traverse* traverse, const TraverseDescribe* table, void* argument);

/* Run describe(traverse, argument) between Start and End in mode Read or Write, from a clear error, and
 * return the error it leaves. Mode and error are as before afterwards: the failure is the result alone, which
 * a caller that is itself a describe function must pass on with Traverse_SetError. When the error was set
 * before, and is not Error_Exceed, it is returned and nothing is run. Error_Invalid for a null traverse or
 * describe. Inside a Start, blocks of a failed read stay recorded until the outermost End. */
QZ_API ErrorCode Traverse_DataRead(Traverse* traverse, TraverseDescribe describe, void* argument);
QZ_API ErrorCode Traverse_DataWrite(Traverse* traverse, TraverseDescribe describe, void* argument);

/* The same in mode Init, New or Delete. traverse: may be null, then no stream is needed and nothing is
 * recorded: after a failed Traverse_DataNew without a traverse every pointer is valid or null and
 * Traverse_DataDelete is due; after one with a traverse they are dangling. Numbers and texts have nothing to
 * do in mode New: run Traverse_DataInit first, then set the counts. */
QZ_API ErrorCode Traverse_DataInit(Traverse* traverse, TraverseDescribe describe, void* argument);
QZ_API ErrorCode Traverse_DataNew(Traverse* traverse, TraverseDescribe describe, void* argument);
QZ_API ErrorCode Traverse_DataDelete(Traverse* traverse, TraverseDescribe describe, void* argument);

/* ---- the record as a whole ---- */

/* The record's tag, four bytes that in little-endian order spell a word. Init stores it in *variable, Write
 * stores and writes it, Read reads *variable and gives Error_NotFound when it is another. */
QZ_API ErrorCode Traverse_Tag(Traverse* traverse, uint32_t tag, uint32_t* variable);

/* The record's version. Init stores it in *variable; Write writes *variable, whatever version is; Read reads
 * *variable and gives Error_NotFound when it is greater than version. After reading an older one the describe
 * function branches on *variable. */
QZ_API ErrorCode Traverse_Version(Traverse* traverse, uint32_t version, uint32_t* variable);

/* Read and Write: Error_Invalid when condition is 0. */
QZ_API ErrorCode Traverse_Validate(Traverse* traverse, int32_t condition);

/* Places for objects; they do nothing in any mode. */
QZ_API ErrorCode Traverse_Field(Traverse* traverse, void* object);
QZ_API ErrorCode Traverse_Class(Traverse* traverse, void* object);
QZ_API ErrorCode Traverse_Object(Traverse* traverse, void* object);

/* A block that is not on the stream. Init stores null in *variable, Delete frees the block there (null for
 * none) and stores null. argument: not used, may be null. */
QZ_API ErrorCode Traverse_ObjectPtr(Traverse* traverse, void* argument, void** variable);

/* As Traverse_Field. */
QZ_API ErrorCode Traverse_GetObject(Traverse* traverse, void* object);

/* ---- one number ---- */

/* The element at *value: 1, 2, 4 or 8 bytes on the stream. Init stores 0. */
QZ_API ErrorCode Traverse_Int8(Traverse* traverse, int8_t* value);
QZ_API ErrorCode Traverse_Int16(Traverse* traverse, int16_t* value);
QZ_API ErrorCode Traverse_Int32(Traverse* traverse, int32_t* value);
QZ_API ErrorCode Traverse_Uns8(Traverse* traverse, uint8_t* value);
QZ_API ErrorCode Traverse_Uns16(Traverse* traverse, uint16_t* value);
QZ_API ErrorCode Traverse_Uns32(Traverse* traverse, uint32_t* value);
QZ_API ErrorCode Traverse_Float32(Traverse* traverse, float* value);
QZ_API ErrorCode Traverse_Float64(Traverse* traverse, double* value);

/* ---- N: numbers without a count on the stream ---- */

/* count elements at array (null only with count 0), and nothing else on the stream. Init stores zeroes. */
QZ_API ErrorCode Traverse_NInt8(Traverse* traverse, uint32_t count, int8_t* array);
QZ_API ErrorCode Traverse_NInt16(Traverse* traverse, uint32_t count, int16_t* array);
QZ_API ErrorCode Traverse_NInt32(Traverse* traverse, uint32_t count, int32_t* array);
QZ_API ErrorCode Traverse_NUns8(Traverse* traverse, uint32_t count, uint8_t* array);
QZ_API ErrorCode Traverse_NUns16(Traverse* traverse, uint32_t count, uint16_t* array);
QZ_API ErrorCode Traverse_NUns32(Traverse* traverse, uint32_t count, uint32_t* array);
QZ_API ErrorCode Traverse_NFloat32(Traverse* traverse, uint32_t count, float* array);
QZ_API ErrorCode Traverse_NFloat64(Traverse* traverse, uint32_t count, double* array);

/* ---- F: counted numbers in a buffer of the record ---- */

/* *count elements at buffer, which has room for capacity of them (null only with capacity 0). On the stream a
 * count of 4 bytes, then the elements. Init, New and Delete store 0 in *count. Write does not look at
 * capacity. Read stores the stream's count, 0 when that came short, and as many elements as there are below
 * capacity. A count equal to capacity is read whole and gives Error_Exceed. A greater one fills the buffer
 * and then skips 2^32 + capacity - count bytes: Error_Ended at the end of the stream, Error_Exceed before; do
 * not write such a record. */
QZ_API ErrorCode Traverse_FInt8(Traverse* traverse, uint32_t capacity, uint32_t* count, int8_t* buffer);
QZ_API ErrorCode Traverse_FInt16(Traverse* traverse, uint32_t capacity, uint32_t* count, int16_t* buffer);
QZ_API ErrorCode Traverse_FInt32(Traverse* traverse, uint32_t capacity, uint32_t* count, int32_t* buffer);
QZ_API ErrorCode Traverse_FUns8(Traverse* traverse, uint32_t capacity, uint32_t* count, uint8_t* buffer);
QZ_API ErrorCode Traverse_FUns16(Traverse* traverse, uint32_t capacity, uint32_t* count, uint16_t* buffer);
QZ_API ErrorCode Traverse_FUns32(Traverse* traverse, uint32_t capacity, uint32_t* count, uint32_t* buffer);
QZ_API ErrorCode Traverse_FFloat32(Traverse* traverse, uint32_t capacity, uint32_t* count, float* buffer);
QZ_API ErrorCode Traverse_FFloat64(Traverse* traverse, uint32_t capacity, uint32_t* count, double* buffer);

/* ---- B: counted numbers in a block of their own ---- */

/* *count elements in the block *array; on the stream as F. Init stores 0 and null. New allocates a cleared
 * block when *count is not 0. Delete frees the block and stores null and 0. Read allocates the block, none
 * for a count of 0; Error_Memory also for more than 4294967295 bytes. Write gives Error_Invalid when there is
 * a count and no block. */
QZ_API ErrorCode Traverse_BInt8(Traverse* traverse, uint32_t* count, int8_t** array);
QZ_API ErrorCode Traverse_BInt16(Traverse* traverse, uint32_t* count, int16_t** array);
QZ_API ErrorCode Traverse_BInt32(Traverse* traverse, uint32_t* count, int32_t** array);
QZ_API ErrorCode Traverse_BUns8(Traverse* traverse, uint32_t* count, uint8_t** array);
QZ_API ErrorCode Traverse_BUns16(Traverse* traverse, uint32_t* count, uint16_t** array);
QZ_API ErrorCode Traverse_BUns32(Traverse* traverse, uint32_t* count, uint32_t** array);
QZ_API ErrorCode Traverse_BFloat32(Traverse* traverse, uint32_t* count, float** array);
QZ_API ErrorCode Traverse_BFloat64(Traverse* traverse, uint32_t* count, double** array);

/* ---- texts ---- */

/* A text in a buffer of size bytes (null only with size 0). On the stream its length with the terminator, 4
 * bytes, then both. Init and Delete make it empty. Write writes the whole text, whatever size is. Read works
 * as F does with size for the capacity: a text that needs fewer bytes than size gives Error_None; one that
 * needs exactly size gives Error_Exceed, with all of it in the buffer; a longer one fills the buffer without
 * a terminator and skips as F does. A text that comes short is terminated when there is room. */
QZ_API ErrorCode Traverse_String(Traverse* traverse, uint32_t size, char* buffer);

/* A text in a block of its own, *text, or null for none. On the stream as Traverse_String; none is the length
 * 0 alone. Init stores null; Delete frees the text and stores null; Read allocates it, always terminated. */
QZ_API ErrorCode Traverse_BString(Traverse* traverse, char** text);

/* *count such texts in an array of capacity pointers (null only with capacity 0). On the stream a count of 4
 * bytes, little-endian from every writer but read in the stream's byte order, then the texts. Init stores
 * null in all entries, and 0. Delete frees the first *count (at most capacity) and keeps the count. Write
 * does not look at capacity. Read stores the stream's count, 0 when that came short, and at most capacity
 * texts; when there are more, they must be empty: the first other one gives Error_Ended or Error_Exceed, and
 * its rest is lost. */
QZ_API ErrorCode Traverse_FBString(Traverse* traverse, uint32_t capacity, uint32_t* count, char** texts);

/* *count such texts in an array of pointers that is a block of its own; on the stream as Traverse_FBString.
 * Init stores 0 and null. New allocates the array, cleared, when *count is not 0. Delete frees the texts and
 * the array, stores null and keeps the count. Read allocates both, no array for a count of 0. Write gives
 * Error_Invalid when there is a count and no array. */
QZ_API ErrorCode Traverse_BBString(Traverse* traverse, uint32_t* count, char*** texts);

/* ---- bytes and blocks ---- */

/* count bytes (null only with count 0), never reversed. Read and Write return how many were moved; when that
 * is less than count the error becomes Error_Ended. With an error that stops, that error is returned. A full
 * count leaves the error, Error_Exceed too, as it is. Returns 0 in the other modes. More than 2147483647
 * bytes are counted right when the result is taken for unsigned. */
QZ_API int32_t Traverse_Raw(Traverse* traverse, uint32_t count, void* bytes);

/* A block that is not on the stream, for a part of the record whose fields follow: Init stores null in
 * *block, New and Read a cleared block of size bytes, null for size 0. */
QZ_API ErrorCode Traverse_MemoryStart(Traverse* traverse, uint32_t size, void** block);

/* The end of that part: Delete frees the block (null for none) and stores null. */
QZ_API ErrorCode Traverse_MemoryEnd(Traverse* traverse, void** block);

/* ---- composed fields ---- */

/* The two words of a time, seconds first, each as Traverse_Uns32. */
QZ_API ErrorCode Traverse_Time(Traverse* traverse, Time* time);

/* A flag, as one byte 0 or 1; any other byte is read as 1. The flag itself becomes 0 or 1 in every mode. */
QZ_API ErrorCode Traverse_Bool(Traverse* traverse, int32_t* flag);

/* A file's state in 14 bytes: exists and isDirectory as Traverse_Bool, size as Traverse_Uns32, the time. */
QZ_API ErrorCode Traverse_FileState(Traverse* traverse, FileState* state);

QZ_END_C

#endif
