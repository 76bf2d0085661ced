// A small reader of vCard files (versions 2.1, 3.0 and 4.0, as address books export
// them): folded lines, FN, N, every EMAIL, ORG, TITLE and an inline PHOTO (Base64 by
// parameter or as a data URL). Parameters are read and mostly ignored; quoted-printable
// values and a CHARSET parameter are decoded. Everything else on a card is passed over.
//
// Damaged input never fails the file: a card that can't be read is reported by its
// number (1-based, counting every BEGIN:VCARD) and skipped, and reading goes on at the
// next BEGIN:VCARD. The limits keep a hostile file from costing more than its size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ravelin::vcard {

struct Limits {
  size_t maxInputOctets = 64u << 20;    // the whole file
  size_t maxCards = 100000;
  size_t maxLineOctets = 8u << 20;      // one property after unfolding (a photo is one line)
  size_t maxPropertiesPerCard = 2000;
  size_t maxEmailsPerCard = 64;
  size_t maxPhotoOctets = 4u << 20;     // the decoded picture
};

struct Card {
  int32_t number = 0;  // its place in the file, 1-based
  std::u16string fullName;             // FN
  std::u16string familyName, givenName;  // N
  std::vector<std::u16string> emails;  // in the card's order, blanks and repeats dropped
  std::u16string organization;         // ORG's first part
  std::u16string unit;                 // ORG's further parts, joined by ", "
  std::u16string title;                // TITLE
  std::string photo;                   // the picture's octets; empty for none
  // The card stands for an organisation, not a person (KIND:org, or an exporter's
  // "show as company" mark).
  bool organizationCard = false;

  // FN, else "Given Family" from N, else the first address.
  std::u16string DisplayName() const;
};

struct BadCard {
  int32_t number = 0;
  std::u16string reason;
};

struct ReadResult {
  std::vector<Card> cards;
  std::vector<BadCard> bad;
  // A file-wide failure (too large, no card at all); the cards read so far stand.
  std::u16string error;
};

// Reads the octets of a .vcf file (UTF-8, or another charset a property names).
ReadResult Read(std::string_view octets, const Limits& limits = {});

}  // namespace ravelin::vcard
