// References in a letter's HTML: the base URL, attribute values found by plain text
// search, relative references made absolute for saving, and a part's Content-Location
// shortened to the form the document is likely to use. Nothing here parses HTML; the
// limits of the text search are kept on purpose (an "href" at the end of a longer
// attribute name is found too, an unquoted value runs to the end of its tag).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ravelin::presentation {

// The href of the first <Base> element, quotes and "=" removed; "" without one. With
// Flags 1 the element is cut out of the document; any other value leaves it alone.
std::u16string GetBaseUrl(std::u16string& HTMLdoc, int16_t Flags = 0);

// Finds the next `name=` (or `name =`) from the 1-based position `start`. On success the
// 1-based span of the value in the document (quotes excluded; `valueEnd` is the position
// of a closing quote, or the last character before the tag's ">") and the trimmed value.
bool FindAttrValue(std::u16string_view doc, int32_t start, std::u16string_view name, int32_t& valueStart,
                   int32_t& valueEnd, std::u16string& value);

// Makes every href, background and src value absolute against the document's base, and
// removes the <Base> element. A document without a base, or with a "file://" base, stays
// as it is. Rewritten values stand without their quotes.
void ConvertAllReftoLocal(std::u16string& HTMLdoc);

// `href` made absolute against the folder of BaseURL; absolute references ("http://",
// "https://", "mailto:", "file://") come back unchanged.
std::u16string ConvertReftoAbs(std::u16string_view href, std::u16string_view BaseURL);

int32_t CountSlashes(std::u16string_view s);

// ContentLocation relative to BaseURL on the same server; "" when they don't share it.
std::u16string GetShortLocation(std::u16string_view ContentLocation, std::u16string_view BaseURL);

}  // namespace ravelin::presentation
