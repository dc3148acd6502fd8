#pragma once
// What the shared libraries export. The libraries are built with hidden
// visibility; a public header (one TolmarUtil.h includes) wraps its
// declarations in TOLMAR_PUBLIC_BEGIN ... TOLMAR_PUBLIC_END, which gives every
// class and function declared between them default visibility. Everything
// else stays inside the library that defines it.

#if defined(__GNUC__) || defined(__clang__)
#define TOLMAR_PUBLIC_BEGIN _Pragma("GCC visibility push(default)")
#define TOLMAR_PUBLIC_END _Pragma("GCC visibility pop")
#define TOLMAR_API __attribute__((visibility("default")))
#else
#define TOLMAR_PUBLIC_BEGIN
#define TOLMAR_PUBLIC_END
#define TOLMAR_API
#endif
