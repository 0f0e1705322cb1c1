/* SPDX-License-Identifier: MIT */
/* Included in front of every C++ source where a compiler made for the GNU C library builds against
 * another one. Its C++ headers ask of which release the library is, which is none, count on a function
 * that newer releases have, and have a name of their own for locales. The driver uses nothing of it. */
#define __GLIBC_PREREQ(major, minor) 0
typedef struct __locale_struct *__locale_t;
#include <bits/c++config.h>
#undef _GLIBCXX_USE_PTHREAD_COND_CLOCKWAIT
