// Shared enumerations of the mail component, as plain integer codes.
#pragma once

#include <cstdint>

namespace ravelin {

enum MailFolders : int32_t {
  Inbox = 0,
  Outbox = 1,
  Sent = 2,
  Rough_copies = 3,
  Recycle = 4,
  MailFolderUnknown = 52,
};

// Bit set: the low three bits are a scope (mask 7), the rest are flags.
enum projectFiltr : int32_t {
  Allmsg = 0,
  NoPrj = 1,
  CurPrj = 2,
  InsCurPrj = 4,
  AllmFolders = 512,
  HidePackItems = 1024,
  NotDeleted = 2048,
};

enum DeletedMsgStatus : int32_t { ShowAll = 0, HideDeleted = 1, DeletedOnly = 2 };
enum MailObjects : int32_t { objLetter = 0, objPack = 1, objRule = 2 };
enum docType : int32_t { plain = 0, html = 1 };
enum frmPackMode : int32_t { ShowMode = 0, PrintMode = 1 };
enum RulesAction : int32_t { intoPack = 1, intoFolder = 2, InsCurPrj1 = 4 };
enum SelectFileAction : int32_t { ActionOpen = 0, ActionSave = 1 };

enum WinsockStates : int32_t {
  MAIL_CONNECT = 0,
  MAIL_USER = 1,
  MAIL_PASS = 2,
  POP3_STAT = 3,
  POP3_RETR = 4,
  POP3_DELE = 5,
  POP3_TOP = 6,
  POP3_MAIL = 7,
  POP3_LIST = 8,
  POP3_GetSize = 9,
  SMTP_HELO = 10,
  SMTP_FROM = 11,
  SMTP_RCPTTO = 12,
  SMTP_DATA = 13,
  SMTP_DOT = 14,
  SMTP_AUTH = 15,
  MAIL_QUIT = 16,
};

enum RequestStat : int32_t { Wait = 0, OK = 1, ErrRq = 2 };

// Folder names as the database stores them, by MailFolders code 0..4.
inline constexpr const char16_t* kMailFolderNames[5] = {u"Inbox", u"Outbox", u"Sent", u"Rough copies",
                                                         u"Recycle"};

}  // namespace ravelin
