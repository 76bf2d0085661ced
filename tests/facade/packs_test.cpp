// The packs family through the façade: failures stay inside, events and the stop flag
// reach the host.
#include "packs/packs.h"
#include "packs/packs_fixture.h"
#include "store/data_cursor.h"

namespace ravelin::test {
namespace {

class FacadePacksTest : public PacksFixture {
 protected:
  Ravelin mail;
};

TEST_F(FacadePacksTest, FailuresAreReportedAndTheDefaultComesBack) {
  DataCursor unbound;
  EXPECT_FALSE(mail.ChangePackProperty(unbound));
  EXPECT_EQ(mail.RereadPacksData(unbound, *std::make_unique<packs::MemoryListView>()), 0);
  ASSERT_TRUE(mail.LastError().has_value());
  EXPECT_EQ(mail.LastError()->Source, u"Ravelin.RereadPacksData");
  EXPECT_EQ(host().Reports().size(), 2u);
}

TEST_F(FacadePacksTest, ListingRaisesProgressAndStopsOnStopOperation) {
  for (int i = 0; i < 4; ++i) AddPack(u"p");
  struct Sink : RavelinEvents {
    Ravelin* mail = nullptr;
    std::vector<std::u16string> texts;
    int progress = 0;
    void ProgressChanged(double&, double&, double&) override {
      if (++progress == 3) mail->StopOperation();
    }
    void StatusTextChanged(std::u16string& t) override { texts.push_back(t); }
  };
  auto sink = std::make_shared<Sink>();
  sink->mail = &mail;
  mail.Subscribe(sink);
  DataCursor packsCursor(module1::GetEmailDbPath(), u"Select * from Packs");
  packsCursor.Refresh();
  packs::MemoryListView list;
  EXPECT_EQ(mail.RereadPacksData2(*packsCursor.Recordset(), list), 3);
  EXPECT_EQ(sink->texts, (std::vector<std::u16string>{u"Enumeration of packs ...", u""}));
  EXPECT_EQ(mail.GetRulesRecordsource(Value(), intoPack, u"3"), mail.GetRulesRecordsource2(intoPack, u"3"));
}

}  // namespace
}  // namespace ravelin::test
