// The message records and the MIME reader that fills them.
//
// `mailHeader` is the interchange form of one letter: the reader fills it from the octets
// of a message, the store writes it to the database, the builder turns it back into MIME.
// Every text field holds true UTF-16 text except `msgBody` (the raw body) and the `fData`
// of the parts, which hold byte text (one unit per octet, see core/text.h).
//
// The reader never fails: a step that cannot be done leaves its field empty and the rest
// of the message is read all the same.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ravelin {

// One part of a letter that is not its plain text: a file, an inline image, an HTML body.
struct AttachFile {
  std::u16string ftype;     // main type, "image"
  std::u16string fsubtype;  // subtype, "png"
  std::u16string fname;     // file name, or the Content-ID when the part has no name
  std::u16string fData;     // content, transfer-decoded, as byte text
  // A large part keeps its content here instead, as octets, and fData stays empty: as
  // byte text it would take twice the room. Read a part's content through the members
  // below, which work for either form.
  std::string fOctets;
  // Holds the part's charset (its msgCodePage), not a transfer encoding; the store keeps
  // it in the column "Charset" and the builder reads it back from here. For a text part
  // it names the charset of the octets in fData; empty means the ANSI code page.
  std::u16string ContentTransferEncoding;
  std::u16string ContentDisposition;
  std::u16string Content_ID;
  std::u16string ContentLocation;

  bool HoldsOctets() const { return !fOctets.empty(); }
  // Octets of the content.
  size_t DataSize() const { return HoldsOctets() ? fOctets.size() : fData.size(); }
  // Copies of the content as byte text and as octets.
  std::u16string DataByteText() const;
  std::string DataOctets() const;
};

struct mailHeader {
  std::u16string From;
  std::u16string Sender;
  std::u16string to;
  std::u16string return_path;
  std::u16string received;  // "Received" lines are recognised and dropped; stays empty
  std::u16string reply_to;
  std::u16string cc;
  std::u16string bcc;
  std::u16string message_id;
  std::u16string in_reply_to;
  std::u16string references;
  std::u16string keywords;
  std::u16string Subject;
  std::u16string comments;
  std::u16string encrypted;
  std::u16string strDate;  // the GMT date as text, from the date reader
  int32_t mSize = 0;       // set by the caller, never by the reader
  std::u16string Message;  // the letter's text, decoded and converted to true text
  std::u16string msgBody;  // the raw body behind the header block
  std::u16string X_Mailer;
  std::u16string X_Spam;
  std::u16string FileName;  // file name of a text/plain message, if it has one
  std::u16string Content_Type;
  std::u16string Content_subtype;
  std::u16string Content_Transfer_Encoding;
  std::u16string Content_Disposition;
  std::u16string msgCodePage;  // charset name
  std::u16string Content_ID;   // with its angle brackets
  std::u16string ContentLocation;
  std::u16string boundary;
  // Element k of the 1-based array is attFiles[k - 1]; an empty vector is the array that
  // was never allocated.
  std::vector<AttachFile> attFiles;
};

// The bounds that keep hostile input from driving the reader without end. Real mail stays
// far inside them.
struct ReaderLimits {
  // Multiparts nested deeper than this are not split: such a part is kept whole, as one
  // attachment of type "multipart".
  int maxDepth = 50;
  // Parts read from one multipart body; the walk goes from the last part up, so a body
  // with more keeps its last maxParts parts.
  size_t maxParts = 100000;
  // Units of one header block that are read; fields beyond them are not read.
  size_t maxHeaderUnits = size_t{1} << 20;
  // A part other than the letter's text whose body (as it stands in the message) has at
  // least this many units is decoded straight into octets, into `AttachFile::fOctets`.
  size_t octetPartUnits = size_t{1} << 20;
};

// The limits in force (the defaults until a host sets others).
const ReaderLimits& CurrentReaderLimits();
void SetReaderLimits(const ReaderLimits& limits);

// Reads the byte text of one message into `mheader`, which the caller supplies cleared.
// The text after the last CR LF CR LF "." is taken to be the terminator of a received
// message and is ignored. Header values are decoded from their encoded words; the first
// occurrence of a field wins. A text/plain body lands in `Message`, every other part in
// `attFiles` (in reverse order of the message for multiparts); a named text part goes
// there as octets with the charset that labels them. Text with no charset, and raw 8-bit
// header text outside encoded words, is read in the ANSI code page. Never throws.
void GetSubItems(std::u16string_view Text, mailHeader& mheader);
// The same for a text the caller gives up: its buffer becomes `msgBody`, which spares a
// large message a second full-size copy.
void GetSubItems(std::u16string&& Text, mailHeader& mheader);

// Cuts the text at the last CR LF CR LF ".", which ends a received message.
void CutTerminator(std::u16string& Text);

// Parses a message or a part whose terminator is already gone. Never throws.
void ParseMessage(std::u16string_view Text, mailHeader& mheader);

// Splits a multipart body at `mheader.boundary`, from the last part to the first, and
// adds its parts to `mheader`. The closing delimiter may be missing; what stands before
// the first delimiter is not read. Never throws.
void ExtractParts(std::u16string_view msgBody, mailHeader& mheader);

// "type/subtype; params" into its type (trimmed) and subtype (as written).
void SplitContentType(std::u16string_view value, std::u16string& type, std::u16string& subtype);

// The value of the parameter `name` in a header value, quotes removed, "" when absent.
// The match ignores case and also finds a longer name that ends in `name` ("name" is
// found in "filename="); a ";" ends the value even inside quotes.
std::u16string GetHeaderParam(std::u16string_view value, std::u16string_view name);

// Decodes `body` by the record's transfer encoding and stores it: a text/plain body
// converted from its charset into `Message` (with `FileName` = name), anything else as a
// new last element of `attFiles`, carrying its charset in ContentTransferEncoding.
void StorePart(mailHeader& mheader, const std::u16string& name, std::u16string_view body);

// The upper bound of the 1-based `attFiles`, 0 when there are none.
int32_t GetUboundAttFiles(const mailHeader& mheader);

// The display name of "Name <address>" without its quotes, "" when there is no "<".
std::u16string GetName(std::u16string_view strEmail);
// The address between the first "<" and the last ">", or the trimmed text itself.
std::u16string GetEmail(std::u16string_view str);

}  // namespace ravelin
