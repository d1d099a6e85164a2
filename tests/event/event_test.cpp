#include "event/event.h"

#include "event/eventutils.h"
#include "support/syslogcapture.h"
#include "support/testdatabase.h"

using watchpost::test::SyslogCapture;

namespace {

class EventRows : public watchpost::test::TestDatabase {
 protected:
  static int Stored(int camera, long start, long stop, EVENT_CAUSE cause) {
    Event event(camera, 640, 480, cause, "a'b.avi");
    event.SetStartTime(start);
    event.SetEndTime(stop);
    EXPECT_EQ(event.Save(), 0);
    return event.GetID();
  }
};

TEST_F(EventRows, AreInsertedOnceAndThenUpdated) {
  Event event(3, 640, 480, EVENT_CAUSE_MOTION, "a'\\.avi");
  event.SetStartTime(4000000000);
  event.SetEndTime(4000000009);
  EXPECT_FALSE(event.IsSaved());
  ASSERT_EQ(event.Save(), 0);
  event.SetFrameCount(225);
  event.SetSize(2147483647);
  event.SetArchive(true);
  ASSERT_EQ(event.Save(), 0);
  EXPECT_EQ(Ask("SELECT count(*) FROM event", "count"), "1");
  Event loaded(event.GetID());
  EXPECT_EQ(loaded.strSqlUpdate(), event.strSqlUpdate()) << "every field";
  EXPECT_EQ(loaded.GetStartTime(), 4000000000) << "beyond 2038";
  ASSERT_EQ(loaded.Delete(), 0);
  EXPECT_FALSE(loaded.IsSaved());
  EXPECT_EQ(loaded.Delete(), 0) << "nothing to delete is fine";
  EXPECT_EQ(loaded.Reload(), -1) << "id 0";
  EXPECT_EQ(event.Reload(), 0);
  EXPECT_FALSE(event.IsSaved()) << "its row is gone";
}

TEST_F(EventRows, TellWhenTheDatabaseIsAway) {
  Event event(Stored(1, 10, 20, EVENT_CAUSE_MOTION));
  Event fresh(1, 8, 8, EVENT_CAUSE_MOTION, "x");
  const Outage outage;
  const SyslogCapture log;
  EXPECT_EQ(event.Reload(), -1);
  EXPECT_EQ(event.Delete(), -1);
  EXPECT_TRUE(event.IsSaved());
  EXPECT_NE(log.Text().find(":Delete(): Unable to delete event [1] from db\n"), std::string::npos);
  EXPECT_EQ(fresh.Save(), -1);
  EXPECT_NE(log.Text().find(":SqlInsert(): Failed to execute command\n"), std::string::npos);
  EXPECT_FALSE(fresh.IsSaved());
  EXPECT_EQ(GetEventCount(0, 0, 0, EVENT_CAUSE_ANY), 0);
  EXPECT_TRUE(GetEvents(0, 10, 0, 0, 0, EVENT_CAUSE_ANY).empty());
}

TEST_F(EventRows, AreCountedAndListedByFilter) {
  Stored(1, 100, 200, EVENT_CAUSE_CONTINUOUS);
  Stored(1, 300, 400, EVENT_CAUSE_MOTION);
  Stored(2, 200, 300, EVENT_CAUSE_MOTION);
  const struct {
    int camera, start, stop;
    EVENT_CAUSE cause;
    std::list<int> ids;  // newest first
  } cases[] = {
      {0, 0, 0, EVENT_CAUSE_ANY, {2, 3, 1}},
      {1, 0, 0, EVENT_CAUSE_ANY, {2, 1}},
      {0, 200, 0, EVENT_CAUSE_ANY, {2, 3}},
      {0, 0, 300, EVENT_CAUSE_ANY, {3, 1}},
      {0, 101, 300, EVENT_CAUSE_ANY, {3}},
      {0, 0, 0, EVENT_CAUSE_MOTION, {2, 3}},
      {1, 100, 400, EVENT_CAUSE_MOTION, {2}},
      {-1, 0, 0, EVENT_CAUSE_ANY, {}},
  };
  for (const auto& c : cases) {
    std::list<int> ids;
    for (const Event& event : GetEvents(0, 10, c.camera, c.start, c.stop, c.cause))
      ids.push_back(event.GetID());
    EXPECT_EQ(ids, c.ids);
    EXPECT_EQ(GetEventCount(c.camera, c.start, c.stop, c.cause), static_cast<int>(c.ids.size()));
  }
  EXPECT_EQ(GetEvents(1, 1, 0, 0, 0, EVENT_CAUSE_ANY).front().GetID(), 3)
      << "the second page of one";
  EXPECT_TRUE(GetEvents(3, 5, 0, 0, 0, EVENT_CAUSE_ANY).empty());
  EXPECT_TRUE(GetEvents(0, 0, 0, 0, 0, EVENT_CAUSE_ANY).empty());
  EXPECT_TRUE(GetEvents(0, -1, 0, 0, 0, EVENT_CAUSE_ANY).empty());
  std::list<int> wanted{3, 77, 1};
  ASSERT_EQ(GetEvents(wanted).size(), 2U);
  EXPECT_EQ(GetEvents(wanted).front().GetID(), 3);
}

}  // namespace
