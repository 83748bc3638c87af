/* Config: a configuration file that is edited without losing a line.
 *
 * A document keeps every line of the file that it has read: data lines, split into fields; section headers;
 * and everything else (comments, blank lines, rejected lines) as it stood. Writing it back gives the file
 * with the intended changes only; the columns of data lines and headers are aligned anew. The syntax is a
 * ConfigSpec (qz/configspec.h); docs/formats.md shows it with an example.
 *
 *   ConfigSpec* spec = ConfigSpec_Start();
 *   ConfigSpec_SetMinFields(spec, 2);
 *   ConfigSpec_SetMaxFields(spec, 2);
 *   ConfigSpec_End(spec);
 *   Config* config = Config_New(spec);
 *   ConfigSpec_Delete(spec);
 *   status = Config_Read(config, "settings.conf");
 *   ConfigLine* line = Config_FindLine(config, NULL, "timeout");
 *   if (line != NULL) puts(Config_GetFields(config, line)[1]);
 *   status = Config_Print(config, NULL, "timeout 30", NULL);
 *   status = Config_Write(config, "settings.conf");
 *   Config_Delete(config);
 *
 * Lines stand in sections. The first section needs no header: it holds the lines before the first one. A line
 * is found by its key, its first field, without regard to case (A to Z) unless the syntax is case sensitive.
 * A section's name is the first field of its header; names are always case sensitive. Where a section is
 * passed, null means the first one.
 *
 * ConfigSection and ConfigLine are handles into the document: they and their texts live until the line or
 * section is removed or replaced, the document is emptied, or deleted. A first section without header and
 * lines is replaced, and its handle dies, when a header is added to it.
 *
 * Null for a document or a line: functions with a status give Error_Invalid, others null or 0, or do nothing.
 * A document is used by one thread at a time. Only Config_Read and Config_Write use the file system, and
 * block as long as that does. A line takes less than 200 bytes of memory beside its text and 8 for each
 * field, and some 100 more once the lines or sections are walked in the order of their keys. */
#ifndef QZ_CONFIG_H
#define QZ_CONFIG_H

#include "qz/configspec.h"
#include "qz/types.h"

QZ_BEGIN_C

/* Opaque. */
typedef struct Config Config;
typedef struct ConfigSection ConfigSection;
typedef struct ConfigLine ConfigLine;

/* ---- the document ---- */

/* Returns a new document with an empty first section (free with Config_Delete), or null when memory runs out
 * or spec is null. spec: the document takes a reference of its own; the caller's remains the caller's. */
QZ_API Config* Config_New(ConfigSpec* spec);

/* Frees the document with all its lines and drops its reference to the syntax. Null is ignored. */
QZ_API void Config_Delete(Config* config);

/* Removes all lines and sections; an empty first section without a header remains. Null is ignored. */
QZ_API void Config_Empty(Config* config);

/* ---- files ---- */

/* Reads a file and adds its lines. The first ones go to the first section, also when the document has others
 * already. A header with the name of a section that exists continues that section. A line whose key the
 * section has is kept as the comment "# DUP " and the line (with the syntax's line comment for "#"), where
 * the syntax wants unique lines; one with too few or too many fields as "# MIN " or "# MAX " and the line.
 *
 * A line ends with LF, CR LF, or the file. It has at most 4096 bytes; what is longer continues as the next
 * line. A byte 0 ends the text of its line. Other bytes, a byte order mark too, are text.
 *
 * Error_None; Error_NotFound when the file does not exist; Error_Invalid for a directory, or a null path;
 * what File_Open gives, also for a link that leads nowhere; Error_Memory; the system's error when the file
 * cannot be read. After a failure the lines before it are in the document. */
QZ_API ErrorCode Config_Read(Config* config, const char* path);

/* Writes the document. The lines go to a new file in the same folder ("qz", eight digits, ".new"), which then
 * replaces the old one: until that moment the old one is untouched, and a failure leaves it so and the new
 * file removed. Where the program is killed meanwhile, the old bytes or the new ones stand there, complete;
 * the new file may be left over and can be removed.
 *
 * A link is followed. Permission bits are kept on Linux, and owner and group where the user may set them (a
 * group that is another one gets no more than everybody); on Windows they come from the folder. Other hard
 * links to the old file keep the old bytes. What is not an ordinary file (a device, a pipe) is written
 * directly; a pipe that nobody reads cannot be opened. Line ends are the system's.
 *
 * Error_None; Error_Memory; what File_Open gives for the file or the new one; Error_Fail when writing,
 * closing or replacing fails; Error_Invalid for a null path. */
QZ_API ErrorCode Config_Write(Config* config, const char* path);

/* ---- adding and removing ---- */

/* Adds one line of text to a section, as if it were read there: a data line, a comment, or a header, which
 * begins a new section behind this one. Where the syntax wants unique lines, a data line takes the place of
 * those of the section with its key; each of these becomes a comment at the end of the section, "# UNIQUE ",
 * the line as it would be written, and its line end; with comments stripped it is removed. section: may be
 * null. text: at most 4096 bytes. line: may be null, or receives the new data line (the document's); null
 * when none was added.
 *
 * Error_None, also when the text was dropped or kept as a comment; Error_Exceed when it is longer;
 * Error_Memory; Error_Invalid when text is null. After a failure the document is as it was. */
QZ_API ErrorCode Config_Print(Config* config, ConfigSection* section, const char* text, ConfigLine** line);

/* The same with a text formatted by printf rules. The arguments follow line. */
QZ_API ErrorCode Config_PrintF(Config* config, ConfigSection* section, const char* format, ConfigLine** line,
                               ...) QZ_PRINTF(3, 5);

/* Removes a line. */
QZ_API void Config_RemoveLine(Config* config, ConfigLine* line);

/* Removes a section: its header, its lines and its comments. When it is the only one, an empty first section
 * without a header remains. Null removes nothing. */
QZ_API void Config_RemoveSection(Config* config, ConfigSection* section);

/* Removes all other lines that have this line's key in its section. */
QZ_API void Config_UniqueLine(Config* config, ConfigLine* line);

/* ---- finding and walking ---- */

/* Returns the first line with a key, in the order in which they were added, or null. */
QZ_API ConfigLine* Config_FindLine(const Config* config, const ConfigSection* section, const char* key);

/* Returns the next line with the key of this one, or null behind the last. */
QZ_API ConfigLine* Config_NextLineGroup(const Config* config, const ConfigLine* line);

/* Returns the first data line of a section, or null. */
QZ_API ConfigLine* Config_FirstLine(const Config* config, const ConfigSection* section);

/* Returns the next data line of the document, or null. It does not stop at the end of the section: compare
 * Config_GetLineSection. */
QZ_API ConfigLine* Config_NextLine(const Config* config, const ConfigLine* line);

/* Return the lines of a section in the order of their keys (as PTrie_Iterate has it, in lower case unless the
 * syntax is case sensitive), for each key the line that was added last; null at the end. Next may be given
 * any line of a group. The first of these calls in a section sorts its keys; without memory for that each
 * call looks at all of them. */
QZ_API ConfigLine* Config_FirstAlphaLine(const Config* config, const ConfigSection* section);
QZ_API ConfigLine* Config_NextAlphaLine(const Config* config, const ConfigLine* line);

/* Returns the section behind this one in the file; for null the first. Null behind the last, and behind a
 * section without lines and comments, even when others follow. */
QZ_API ConfigSection* Config_NextSection(const Config* config, const ConfigSection* section);

/* Returns the next section in the order of their names; for null, or a section without a header, the first.
 * Null behind the last. Sections without a header are left out. */
QZ_API ConfigSection* Config_NextAlphaSection(const Config* config, const ConfigSection* section);

/* ---- a section and a line ---- */

/* Return the number of data lines in a section, and of fields in its header. */
QZ_API uint32_t Config_CountSectionLines(const Config* config, const ConfigSection* section);
QZ_API uint32_t Config_CountSectionFields(const Config* config, const ConfigSection* section);

/* Returns the fields of a section's header (the document's), or null when it has none. */
QZ_API char** Config_GetSectionFields(const Config* config, const ConfigSection* section);

/* Return the section of a line, the number of its fields, and the fields (the document's). */
QZ_API ConfigSection* Config_GetLineSection(const Config* config, const ConfigLine* line);
QZ_API uint32_t Config_CountFields(const Config* config, const ConfigLine* line);
QZ_API char** Config_GetFields(const Config* config, const ConfigLine* line);

/* Returns what follows the line comment on a line (the document's), as it stands there; null when the line
 * has none, or comments are stripped. */
QZ_API const char* Config_GetComment(const Config* config, const ConfigLine* line);

QZ_END_C

#endif
