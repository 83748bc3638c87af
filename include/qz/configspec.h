/* ConfigSpec: the syntax of one kind of configuration file.
 *
 * A syntax says what begins a comment, what separates the fields of a line and how many a line must
 * have, whether lines with the same key may repeat and keys ignore case, how columns are padded on writing,
 * and what a section header is. Usual order: ConfigSpec_Start, the setters, ConfigSpec_End, Config_New (the
 * document takes a reference of its own), ConfigSpec_Delete.
 *
 * A syntax is reference-counted: documents hold references, ConfigSpec_Delete drops one, and the last
 * one dropped frees it. A syntax, with all documents that use it, belongs to one thread at a time or
 * is under the caller's lock. The default one belongs to the library: its references are not counted, it is
 * never freed, and any thread may use it as long as none changes it. Nothing blocks; no OS_Init is needed. A
 * null syntax is ignored.
 */
#ifndef QZ_CONFIGSPEC_H
#define QZ_CONFIGSPEC_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct ConfigSpec ConfigSpec;

/* Decides whether a line is a section header, by its fields (borrowed for the call; field 0 is the section's
 * name). fieldCount: may be 0. Exactly 1 makes the line a section header; any other result does not. */
typedef int32_t (*ConfigSectionMethod)(uint32_t fieldCount, const char* const* fields);

/* Returns the default syntax (borrowed; the library's own): comments begin with "#"; tabs, blanks,
 * line feeds and carriage returns separate fields; no delimiter; tab size 4; one field at least and at most;
 * comments are kept; keys are unique and ignore case; no last-field grab; no sections. */
QZ_API ConfigSpec* ConfigSpec_GetDefault(void);

/* Returns a new syntax with the default's settings, owned (free with ConfigSpec_Delete), or null when
 * memory runs out. */
QZ_API ConfigSpec* ConfigSpec_Start(void);

/* Returns a new syntax with all settings of another one, owned (free with ConfigSpec_Delete), or null
 * when memory runs out or spec is null. spec: borrowed; open or ended. Its number of references is copied
 * too: the copy of a syntax that a document holds besides the caller needs a ConfigSpec_Delete for
 * each reference. */
QZ_API ConfigSpec* ConfigSpec_StartFrom(const ConfigSpec* spec);

/* Sets the text that begins a comment (copied), anywhere in a line; null or "": no comments. At most 15
 * characters, the rest is cut. */
QZ_API void ConfigSpec_SetLineComment(ConfigSpec* spec, const char* text);

/* Sets the characters that separate fields, or surround them when there is a delimiter (copied). The first
 * one pads columns on writing; null or "": nothing is trimmed, split or padded. At most 31 characters, the
 * rest is cut. */
QZ_API void ConfigSpec_SetNotField(ConfigSpec* spec, const char* text);

/* Sets the one character between two fields; 0: none, fields are separated by the characters above. */
QZ_API void ConfigSpec_SetFieldDelimiter(ConfigSpec* spec, char delimiter);

/* Sets how many fields a line must have. Lines with fewer are kept as comments. */
QZ_API void ConfigSpec_SetMinFields(ConfigSpec* spec, uint32_t count);

/* Sets how many fields a line may have. Lines with more are kept as comments. */
QZ_API void ConfigSpec_SetMaxFields(ConfigSpec* spec, uint32_t count);

/* Sets the width of a tab, in columns, for padding; 0 counts as 1. */
QZ_API void ConfigSpec_SetTabSize(ConfigSpec* spec, uint32_t size);

/* Sets what recognises section headers; null: no line is one. */
QZ_API void ConfigSpec_SetSectionMethod(ConfigSpec* spec, ConfigSectionMethod method);

/* Sets whether comments and blank lines are dropped on reading (not 0) or kept (0). */
QZ_API void ConfigSpec_SetStripComments(ConfigSpec* spec, int32_t on);

/* Sets whether a key may stand only once in a section (not 0) or many times (0). */
QZ_API void ConfigSpec_SetUniqueLines(ConfigSpec* spec, int32_t on);

/* Sets whether keys that differ only in the case of A to Z are different (not 0) or equal (0). */
QZ_API void ConfigSpec_SetCaseSensitive(ConfigSpec* spec, int32_t on);

/* Sets whether the last field that a line may have takes all the rest of it (not 0). */
QZ_API void ConfigSpec_SetLastFieldGrab(ConfigSpec* spec, int32_t on);

/* Marks the syntax as complete. The mark is not enforced: the setters work as before, but a
 * syntax that a document uses must not be changed. */
QZ_API void ConfigSpec_End(ConfigSpec* spec);

/* Drops one reference and frees the syntax with the last one. Null and the default are ignored. */
QZ_API void ConfigSpec_Delete(ConfigSpec* spec);

QZ_END_C

#endif
