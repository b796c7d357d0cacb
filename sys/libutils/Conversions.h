#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace qn::sys {

// Numbers and booleans as text. Reading goes through a string stream: leading
// blanks are skipped, trailing rubbish is ignored, an unreadable text gives 0.
std::string BoolToString(bool value);
bool StringToBool(const char* text);
bool StringToBool(const std::string& text);
std::int32_t StringToInt(const char* text);
std::int32_t StringToInt(const std::string& text);
std::string IntToString(std::int32_t value);
std::int64_t StringToI64(const char* text);
std::int64_t StringToI64(const std::string& text);
std::string I64ToString(std::int64_t value);
std::uint32_t StringToU32(const char* text);
std::uint32_t StringToU32(const std::string& text);
std::string U32ToString(std::uint32_t value);
double StringToDouble(const char* text);
double StringToDouble(const std::string& text);
std::string DoubleToString(double value);
std::int32_t WideToInt(const std::wstring& text);
std::wstring IntToWide(std::int32_t value);
double WideToDouble(const std::wstring& text);
std::wstring DoubleToWide(double value);

// Narrow to wide with mbstowcs in the current locale; empty if that fails.
std::wstring ToWideString(const char* text);
std::wstring ToWideString(const char* text, std::size_t length);
std::wstring ToWideString(const std::string& text);

// Wide to narrow, keeping only characters below 128; every other character,
// and a UTF-16 surrogate pair as a whole, becomes "?".
std::string ToNarrowString(const wchar_t* text);
std::string ToNarrowString(const std::wstring& text);

// Characters up to 127 as they are, others as lower-case hexadecimal digits;
// the stream is left in hexadecimal mode.
void WideToStream(std::ostream& stream, const std::wstring& text);

// The characters and a terminating 0.
std::vector<wchar_t> ToWideVector(const std::wstring& text);

}  // namespace qn::sys
