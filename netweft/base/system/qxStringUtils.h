#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

#include <locale>
#include <string_view>

#if defined(_WIN32)
using qxCLocaleHandle = void*;
#else
#  include <locale.h>
using qxCLocaleHandle = locale_t;
#endif

namespace qx {

/// Gives the handle of the "C" locale; it is made at the first use and lives as long as the process, so that static
/// objects may use it while they are made.
class NETWEFT_EXPORT qxCLocale {
 public:
  /// For the C functions that take a locale; stays the library's.
  operator qxCLocaleHandle() const noexcept;
};

/// Helpers on byte strings. All are static, keep no state and may be called from any thread.
class NETWEFT_EXPORT qxStringUtils {
 public:
  /// Character sets that texts are converted between.
  enum qxCharSet : int32 {
    CS_Local = 0,  ///< the machine's local code page (on Linux: that of the LC_CTYPE environment)
    CS_Utf8 = 1,   ///< UTF-8
  };

  /// The "C" locale, so that number text never follows the user's: for C functions and for streams.
  static const qxCLocale msCLocale;
  static const std::locale msCplusLocale;

  /// Strips leading and trailing white space (blank, tab, line feed, vertical tab, form feed, carriage return) in
  /// place.
  static string& trim(string& text);

  /// In place, ASCII letters alone.
  static void toLower(string& text);
  static void toUpper(string& text);

  /// Byte by byte; every text starts with the empty one.
  static bool StartsWith(const string& text, const string& prefix);

  /// `caseSensitive` false ignores the case of ASCII letters. An empty `part` is contained in every text.
  static bool Contains(const string& text, const string& part, bool caseSensitive);

  /// Cuts at each `separator`. With `keepEmpty` empty pieces stay (an empty text gives one empty piece); without
  /// it they are dropped. The second form appends to `out`.
  static list<string> Split(const string& text, char separator, bool keepEmpty);
  static void Split(const string& text, char separator, vector<string>& out, bool keepEmpty);

  /// Decimal text, zero-filled to `minWidth` digits (a sign not counted).
  static string fromInt(int value, int minWidth);
  static string fromInt64(int64 value, int minWidth);
  static string fromUInt(unsigned int value, int minWidth);
  static string fromUInt64(uint64 value, int minWidth);

  /// A whole text as an integer, in the C locale and with `strtoll`'s rules for `base` (0: from the text, so that
  /// a leading zero is octal). False, with `out` untouched, when something is left over or it does not fit. A NUL
  /// inside the text counts as something left over.
  static bool ParseInt64(const string& text, int base, int64& out);

  /// Replaces `out` by lower-case hexadecimal text, two digits a byte.
  static void ToHex(const char* data, uint64 n, string& out);

  /// Parses a UUID: 32 hexadecimal digits of either case, bare or with dashes in the usual four places. `out` gets
  /// 16 bytes in the order of the text. False, with `out` untouched, when it is not one.
  static bool UUIDToBinary(const string& text, unsigned char* out);

  /// Overwrites the string's whole buffer, then empties it, so that a secret does not stay behind in memory.
  static void SecureClear(string& secret);

  /// Conversions between character sets. What cannot be expressed becomes "?".
  static string convertCharset(const string& text, qxCharSet from, qxCharSet to);
  static std::wstring convertToUnicode(const string& text, qxCharSet from);
  static string convertTo8Bits(const std::wstring& text, qxCharSet to);
};

}  // namespace qx
