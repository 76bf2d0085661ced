// The SMTP members of the façade: each runs the transport's client on this instance's
// m_State, rqStat and session, so two windows sending at once keep apart.
#include "facade/ravelin.h"
#include "platform/funnel.h"
#include "transport/smtp_client.h"

namespace ravelin {

namespace {
transport::SmtpClient ClientOf(WinsockStates& state, RequestStat& rq, transport::SmtpSession& session) {
  return transport::SmtpClient(state, rq, session);
}
}  // namespace

bool Ravelin::SMTPConnect(const std::u16string& SMTPserver, int32_t SMTPport, transport::Socket& Winsock1,
                          transport::StatusPanel* Panel1, bool isAuth, const std::u16string& User,
                          const std::u16string& Password, std::u16string* strHello) {
  return Protected(u"Ravelin.SMTPConnect", false, [&] {
    std::u16string hello = strHello ? *strHello : std::u16string();
    const bool ok = ClientOf(m_State, rqStat, smtp_).SMTPConnect(SMTPserver, SMTPport, Winsock1, Panel1, isAuth,
                                                                  User, Password, hello);
    if (strHello) *strHello = hello;
    return ok;
  });
}

bool Ravelin::SendLetter(const mailHeader& mheader, transport::Socket& Winsock1, transport::StatusPanel* Panel1) {
  return Protected(u"Ravelin.SendLetter", false,
                   [&] { return ClientOf(m_State, rqStat, smtp_).SendLetter(mheader, Winsock1, Panel1); });
}

bool Ravelin::SendOneLetter(const mailHeader& mheader, const std::u16string& SMTPserver, int32_t SMTPport,
                            transport::Socket& Winsock1, transport::StatusPanel* Panel1, bool isAuth,
                            const std::u16string& User, const std::u16string& Password) {
  return Protected(u"Ravelin.SendOneLetter", false, [&] {
    return ClientOf(m_State, rqStat, smtp_)
        .SendOneLetter(mheader, SMTPserver, SMTPport, Winsock1, Panel1, isAuth, User, Password);
  });
}

Value Ravelin::SMTPDisconnect(transport::Socket& Winsock1, transport::StatusPanel* Panel1,
                              const std::u16string& SMTPserver) {
  ProtectedVoid(u"Ravelin.SMTPDisconnect",
                [&] { ClientOf(m_State, rqStat, smtp_).SMTPDisconnect(Winsock1, Panel1, SMTPserver); });
  return Value();
}

void Ravelin::Winsock_DataArrival(int32_t bytesTotal, transport::Socket& Winsock1) {
  ProtectedVoid(u"Ravelin.Winsock_DataArrival",
                [&] { ClientOf(m_State, rqStat, smtp_).DataArrival(bytesTotal, Winsock1); });
}

void Ravelin::WaitRq() {
  ProtectedVoid(u"Ravelin.WaitRq", [&] { ClientOf(m_State, rqStat, smtp_).WaitRq(); });
}

void Ravelin::GetConnectionStatus(transport::ConnectionToolbar& Toolbar1) {
  ProtectedVoid(u"Ravelin.GetConnectionStatus", [&] { transport::GetConnectionStatus(Toolbar1); });
}

void Ravelin::SetConnectionStatus(transport::ConnectionToolbar& Toolbar1) {
  ProtectedVoid(u"Ravelin.SetConnectionStatus", [&] { transport::SetConnectionStatus(Toolbar1); });
}

}  // namespace ravelin
