// The façade's transfer-codec and charset members: thin doors to formats/codecs.h and
// formats/charsets.h. They keep no state and, like the functions behind them, let the
// few failures those define reach the caller.
#include "facade/ravelin.h"
#include "formats/charsets.h"
#include "formats/codecs.h"

namespace ravelin {

std::u16string Ravelin::AsciiToBase64(const std::u16string& sSource) { return ravelin::AsciiToBase64(sSource); }
std::u16string Ravelin::Base64ToAscii(const std::u16string& sSource) { return ravelin::Base64ToAscii(sSource); }
int32_t Ravelin::CalcBase64strSize(int32_t lngStr) { return ravelin::CalcBase64strSize(lngStr); }
std::u16string Ravelin::Code_quoted_printable(const std::u16string& Text) {
  return ravelin::Code_quoted_printable(Text);
}
std::u16string Ravelin::Decode_quoted_printable(const std::u16string& Text) {
  return ravelin::Decode_quoted_printable(Text);
}
std::vector<std::u16string> Ravelin::mSplit(const std::u16string& str, const std::u16string& Delim) {
  return ravelin::mSplit(str, Delim);
}
std::u16string Ravelin::SplitMsg(const std::u16string& strMsg, const std::u16string& Delim, int32_t MaxLen,
                                 int32_t Len1) {
  return ravelin::SplitMsg(strMsg, Delim, MaxLen, Len1);
}
void Ravelin::GetCP_CM(const std::u16string& str, std::u16string& CodePage, std::u16string& Method,
                       std::u16string& Rest, std::u16string* strStart) {
  ravelin::GetCP_CM(str, CodePage, Method, Rest, strStart);
}
int32_t Ravelin::GetCPfromStr(const std::u16string& str) { return ravelin::GetCPfromStr(str); }
std::u16string Ravelin::GetStrFromCPcode(int32_t CP) { return ravelin::GetStrFromCPcode(CP); }
std::u16string Ravelin::CreateStrField(const std::u16string& FieldName, const std::u16string& Value) {
  return ravelin::CreateStrField(FieldName, Value);
}
std::u16string Ravelin::GetUnicodeHTMLString(const std::u16string& s) { return ravelin::GetUnicodeHTMLString(s); }

}  // namespace ravelin
