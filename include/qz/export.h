/* How the interface is exported, and how a compiler is asked to check printf-style calls.
 *
 * QZ_BUILDING is defined while the library itself is compiled, QZ_STATIC where its objects are linked
 * directly; everyone else imports. This is the one public header that asks which platform it is on. */
#ifndef QZ_EXPORT_H
#define QZ_EXPORT_H

#if defined(QZ_STATIC)
#  define QZ_API
#elif defined(_WIN32)
#  if defined(QZ_BUILDING)
#    define QZ_API __declspec(dllexport)
#  else
#    define QZ_API __declspec(dllimport)
#  endif
#else
#  define QZ_API __attribute__((visibility("default")))
#endif

#if defined(__MINGW32__)
#  define QZ_PRINTF(text, first) __attribute__((format(gnu_printf, text, first)))
#elif defined(__GNUC__)
#  define QZ_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#  define QZ_PRINTF(text, first)
#endif

#ifdef __cplusplus
#  define QZ_BEGIN_C extern "C" {
#  define QZ_END_C }
#else
#  define QZ_BEGIN_C
#  define QZ_END_C
#endif

#endif
