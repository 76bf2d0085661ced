// The address book's photo store: an address to its person, the person's picture decoded
// and scaled with libgd, saved as a BMP thumbnail.
#include <gd.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "desktop/address_book.h"
#include "platform/filesystem.h"
#include "runtime/errors.h"
#include "runtime/resume.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::desktop {

namespace {

struct ImageDeleter {
  void operator()(gdImagePtr im) const {
    if (im) gdImageDestroy(im);
  }
};
using Image = std::unique_ptr<gdImage, ImageDeleter>;

// Decodes JPEG, PNG, GIF, BMP or WebP by the file's signature; null for anything else or a
// picture libgd can't read.
Image Decode(const std::vector<uint8_t>& octets) {
  if (octets.size() < 12 || octets.size() > static_cast<size_t>(INT32_MAX)) return nullptr;
  void* data = const_cast<uint8_t*>(octets.data());
  const int size = static_cast<int>(octets.size());
  const uint8_t* p = octets.data();
  if (p[0] == 0xFF && p[1] == 0xD8) return Image(gdImageCreateFromJpegPtrEx(size, data, 1));
  if (p[0] == 0x89 && p[1] == 'P' && p[2] == 'N' && p[3] == 'G') return Image(gdImageCreateFromPngPtr(size, data));
  if (p[0] == 'G' && p[1] == 'I' && p[2] == 'F') return Image(gdImageCreateFromGifPtr(size, data));
  if (p[0] == 'B' && p[1] == 'M') return Image(gdImageCreateFromBmpPtr(size, data));
  if (p[0] == 'R' && p[1] == 'I' && p[2] == 'F' && p[3] == 'F' && p[8] == 'W' && p[9] == 'E')
    return Image(gdImageCreateFromWebpPtr(size, data));
  return nullptr;
}

// Pixels at 96 per inch to hundredths of a millimetre, as pictures report their size.
int32_t ToHimetric(int pixels) { return static_cast<int32_t>(std::lround(pixels * 2540.0 / 96.0)); }

// Writes the picture fitted into width x height, proportions kept, as a BMP file.
void SaveThumbnail(const std::vector<uint8_t>& octets, const std::u16string& path, int32_t width, int32_t height) {
  Image im = Decode(octets);
  if (!im || width <= 0 || height <= 0) return;
  const double sx = static_cast<double>(width) / gdImageSX(im.get());
  const double sy = static_cast<double>(height) / gdImageSY(im.get());
  const double s = std::min({sx, sy, 1.0});
  const int w = std::max(1, static_cast<int>(std::lround(gdImageSX(im.get()) * s)));
  const int h = std::max(1, static_cast<int>(std::lround(gdImageSY(im.get()) * s)));
  Image thumb(gdImageCreateTrueColor(w, h));
  if (!thumb) return;
  gdImageCopyResampled(thumb.get(), im.get(), 0, 0, 0, 0, w, h, gdImageSX(im.get()), gdImageSY(im.get()));
  int size = 0;
  void* bmp = gdImageBmpPtr(thumb.get(), &size, 0);
  if (!bmp) return;
  const std::string bytes(static_cast<const char*>(bmp), static_cast<size_t>(size));
  gdFree(bmp);
  fs::WriteAll(path, bytes);
}

}  // namespace

std::optional<presentation::Photo> AddressBookPhotoStore::Find(const std::u16string& email) {
  if (Trim(email).empty()) return std::nullopt;
  const std::u16string path = AddressBookPath();
  if (!fs::FileExists(path)) return std::nullopt;
  SqliteAddressBook book;
  int32_t person = 0;
  {
    auto db = dao::OpenDatabase(path, false, true, u"Access");
    auto rs = db->OpenRecordset(
        u"SELECT OwnerType, [Owner ID] FROM Resources WHERE ResourceString='" + Replace(Trim(email), u"'", u"''") +
            u"' AND OwnerType IN (0, 4) ORDER BY [Resource ID]",
        dao::dbOpenDynaset);
    if (!rs->Eof()) {
      const int32_t kind = NullConvLng(rs->GetField(u"OwnerType"));
      const int32_t owner = NullConvLng(rs->GetField(u"Owner ID"));
      if (kind == packs::abPerson) {
        person = owner;
      } else {
        auto emp = db->OpenRecordset(u"SELECT [Personal ID] FROM Employees WHERE [Employee ID]=" +
                                         NumToText(static_cast<double>(owner)),
                                     dao::dbOpenDynaset);
        if (!emp->Eof()) person = NullConvLng(emp->GetField(u"Personal ID"));
        emp->Close();
      }
    }
    rs->Close();
    db->Close();
  }
  if (person == 0) return std::nullopt;
  auto octets = book.PhotoOf(person);
  if (!octets) return std::nullopt;
  Image im = Decode(*octets);
  if (!im) return std::nullopt;
  presentation::Photo photo;
  photo.widthHimetric = ToHimetric(gdImageSX(im.get()));
  photo.heightHimetric = ToHimetric(gdImageSY(im.get()));
  auto shared = std::make_shared<std::vector<uint8_t>>(std::move(*octets));
  photo.save = [shared](const std::u16string& file, int32_t width, int32_t height) {
    SaveThumbnail(*shared, file, width, height);
  };
  return photo;
}

}  // namespace ravelin::desktop
