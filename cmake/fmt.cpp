// SPDX-License-Identifier: MIT
// The compiled part of {fmt}, of whose package a cross build has the headers only.
#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {

template dragonbox::decimal_fp<float> dragonbox::to_decimal(float value) noexcept;
template dragonbox::decimal_fp<double> dragonbox::to_decimal(double value) noexcept;
template locale_ref::locale_ref(const std::locale &locale);
template std::locale locale_ref::get<std::locale>() const;
template thousands_sep_result<char> thousands_sep_impl(locale_ref locale);
template char decimal_point_impl(locale_ref locale);
template void buffer<char>::append(const char *begin, const char *end);
template void vformat_to(buffer<char> &out, string_view text,
                         basic_format_args<FMT_BUFFER_CONTEXT(char)> arguments, locale_ref locale);

}  // namespace detail
FMT_END_NAMESPACE
