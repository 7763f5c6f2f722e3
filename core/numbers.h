// Number conversions that read and write the same way in every locale.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Reads a decimal integer the way atoi does: leading white space, an
/// optional sign, then digits; anything after them is ignored and text
/// without digits gives 0. Values beyond the 32-bit range are clamped.
std::int32_t ParseInt(const wchar_t* text);

/// Reads a real number the way wcstod does in the "C" locale: leading white
/// space, then the longest number; text that is no number gives 0. Sets
/// `*end` (when given) just past what was read.
double ParseReal(const wchar_t* text, const wchar_t** end = nullptr);

/// `value` with `decimals` digits after a point, the same in every locale
/// ("3.41", never "3,41"); an empty text for a value that is not finite.
std::string FormatFixed(double value, int decimals);

/// The middle value of `values` (the mean of the two middle ones for an
/// even count); 0 for none.
double Median(std::vector<double> values);

/// Multiplies with 32-bit two's-complement wrap-around, as the processor does.
std::int32_t WrappingMultiply(std::int32_t a, std::int32_t b);
