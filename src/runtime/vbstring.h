// The classic string functions every part of Ravelin leans on, on UTF-16 text with
// 1-based positions: Trim family (blanks U+0020 only), Left/Right/Mid, InStr/InStrRev/
// Replace/StrComp in binary or text comparison, LCase/UCase, Val, Split.
//
// Text comparison ignores case with Unicode simple case folding per code unit, so
// positions in the folded text are positions in the original (Cyrillic included).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ravelin {

using u16 = std::u16string;
using u16v = std::u16string_view;

enum class Compare : int { Binary = 0, Text = 1 };

int32_t Len(u16v s);

u16 Trim(u16v s);
u16 LTrim(u16v s);
u16 RTrim(u16v s);

// Left/Right: n < 0 raises error 5; n beyond the length gives the whole text.
u16 Left(u16v s, int64_t n);
u16 Right(u16v s, int64_t n);
// Mid(s, start[, length]): start < 1 or length < 0 raises error 5; start past the end gives "".
u16 Mid(u16v s, int64_t start);
u16 Mid(u16v s, int64_t start, int64_t length);

// InStr([start,] s1, s2[, compare]): position of s2 in s1 at or after start, 0 when absent.
// start < 1 raises error 5; start > Len(s1) gives 0; an empty s2 gives start.
int32_t InStr(int64_t start, u16v s1, u16v s2, Compare cmp = Compare::Binary);
int32_t InStr(u16v s1, u16v s2, Compare cmp = Compare::Binary);
// InStrRev(s1, s2[, start = -1[, compare]]): last position of s2 that ends at or before
// start (-1 = end). start = 0 or < -1 raises error 5; start > Len(s1) gives 0; empty s2 gives start.
int32_t InStrRev(u16v s1, u16v s2, int64_t start = -1, Compare cmp = Compare::Binary);

// Replace(expr, find, replace[, start = 1[, count = -1[, compare]]]): the result begins
// at `start` (the text before it is dropped); start > Len gives ""; empty find or count 0
// gives the text from start unchanged. start < 1 or count < -1 raises error 5.
u16 Replace(u16v expr, u16v find, u16v replacement, int64_t start = 1, int64_t count = -1,
            Compare cmp = Compare::Binary);

// StrComp: -1, 0 or 1.
int32_t StrComp(u16v a, u16v b, Compare cmp = Compare::Binary);

u16 LCase(u16v s);
u16 UCase(u16v s);
// Simple case fold of every code unit (length preserving); the key of text comparison.
u16 FoldCase(u16v s);
bool TextEquals(u16v a, u16v b);  // equal under text comparison

// Val: the number at the start of the text. Blanks, tabs and line feeds are skipped
// anywhere; "&H"/"&O" read hexadecimal/octal (up to 4 digits as a 16-bit, up to 8 as a
// 32-bit signed value); reading stops at the first character that can't continue the number.
double Val(u16v s);

// Split(expr, delim[, limit = -1[, compare]]): elements in order (the platform's index 0
// is element [0]). An empty expr gives no elements; an empty delim gives the whole text.
std::vector<u16> Split(u16v expr, u16v delim, int64_t limit = -1, Compare cmp = Compare::Binary);

// Chr/ChrW for one code unit, Asc/AscW of the first (error 5 on empty text).
u16 ChrW(int32_t code);
int32_t AscW(u16v s);

u16 Space(int64_t n);
u16 String(int64_t n, char16_t c);

// Number to text as the platform's Str/CStr do: up to 15 significant digits, no "+";
// Str puts a leading blank before non-negative numbers, CStr does not.
u16 NumToText(double d);
u16 Str(double d);

}  // namespace ravelin
