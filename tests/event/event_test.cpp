#include "event/event.h"

#include "event/eventstore.h"
#include "event/eventutils.h"
#include "support/forkedpeer.h"
#include "support/syslogcapture.h"
#include "support/testdatabase.h"

namespace {

class EventRows : public TestDatabase {
 protected:
  static int Stored(int camera, long start, long stop, EVENT_CAUSE cause) {
    Event event(camera, 640, 480, cause, "a'b.avi");
    event.SetStartTime(start);
    event.SetEndTime(stop);
    EXPECT_EQ(event.Save(), 0);
    return event.GetID();
  }
};

TEST_F(EventRows, AreNeverMadeTwiceNorAnothers) {
  using watchpost::StoreResult;
  Event event(3, 640, 480, EVENT_CAUSE_MOTION, "a.avi");
  // Several processes at one moment.
  std::vector<ForkedPeer> peers;
  for (int i = 0; i < 6; ++i) {
    peers.emplace_back([event]() mutable {
      return watchpost::InsertEvent(event) == StoreResult::kFailed ? 1 : 0;
    });
  }
  for (ForkedPeer& peer : peers) EXPECT_EQ(peer.Wait(), 0);
  EXPECT_EQ(watchpost::InsertEvent(event), StoreResult::kFound);
  EXPECT_EQ(Rows("event"), 1);

  Event seen = event;
  event.SetFrameCount(9);
  Event other(4, 640, 480, EVENT_CAUSE_MOTION, "a.avi");  // after a restore its id is another's
  other.SetID(event.GetID());
  EXPECT_EQ(watchpost::UpdateGrowth(other), StoreResult::kNoRow);
  EXPECT_EQ(watchpost::UpdateGrowth(event), StoreResult::kDone);
  EXPECT_EQ(watchpost::UpdateIfUnchanged(seen, seen), StoreResult::kNoRow);
  EXPECT_EQ(watchpost::RemoveIfUnchanged(seen), StoreResult::kNoRow);
  EXPECT_EQ(watchpost::RemoveRows({other}), StoreResult::kNoRow);
  EXPECT_EQ(Rows("event"), 1);
  EXPECT_EQ(watchpost::RemoveRows({seen}), StoreResult::kDone);
  EXPECT_EQ(Rows("event"), 0);
}

TEST_F(EventRows, AreInsertedOnceAndThenUpdated) {
  Event event(3, 640, 480, EVENT_CAUSE_MOTION, "a'\\.avi");
  event.SetStartTime(4000000000);  // beyond 2038
  event.SetEndTime(4000000009);
  EXPECT_FALSE(event.IsSaved());
  ASSERT_EQ(event.Save(), 0);
  event.SetFrameCount(225);
  event.SetSize(2147483647);
  event.SetArchive(true);
  ASSERT_EQ(event.Save(), 0);
  EXPECT_EQ(Rows("event"), 1);
  Event loaded(event.GetID());
  EXPECT_EQ(loaded.strSqlUpdate(), event.strSqlUpdate()) << "every field";
  ASSERT_EQ(loaded.Delete(), 0);
  EXPECT_FALSE(loaded.IsSaved());
  EXPECT_EQ(loaded.Delete(), 0) << "nothing to delete is fine";
  EXPECT_EQ(loaded.Reload(), -1) << "id 0";
  EXPECT_EQ(event.Reload(), 0);
  EXPECT_FALSE(event.IsSaved()) << "its row is gone";
}

TEST_F(EventRows, MayFillTheirStatementsToTheLastByte) {
  Event event(3, 640, 480, EVENT_CAUSE_MOTION, "");
  Event longest(
      3, 640, 480, EVENT_CAUSE_MOTION, std::string(16383 - event.strSqlInsert().size(), 'x'));
  EXPECT_THAT(longest.strSqlInsert(), SizeIs(16383));
  EXPECT_EQ(longest.SqlInsert(), 0);
}

TEST_F(EventRows, ReportThatTheDatabaseIsAway) {
  Event event(Stored(1, 10, 20, EVENT_CAUSE_MOTION));
  Event fresh(1, 8, 8, EVENT_CAUSE_MOTION, "x");
  const Outage outage;
  const SyslogCapture log;
  EXPECT_EQ(event.Reload(), -1);
  EXPECT_EQ(event.Delete(), -1);
  EXPECT_TRUE(event.IsSaved());
  log.Expect(":Delete(): Unable to delete event [1] from db\n");
  EXPECT_EQ(fresh.Save(), -1);
  log.Expect(":SqlInsert(): Failed to execute command\n");
  EXPECT_FALSE(fresh.IsSaved());
  EXPECT_EQ(GetEventCount(0, 0, 0, EVENT_CAUSE_ANY), 0);
  EXPECT_THAT(GetEvents(0, 10, 0, 0, 0, EVENT_CAUSE_ANY), IsEmpty());
}

TEST_F(EventRows, AreCountedAndListedByFilter) {
  Stored(1, 100, 200, EVENT_CAUSE_CONTINUOUS);
  Stored(1, 300, 400, EVENT_CAUSE_MOTION);
  Stored(2, 200, 300, EVENT_CAUSE_MOTION);
  const struct {
    int first, most, camera, start, stop;
    EVENT_CAUSE cause;
    std::vector<int> ids;  // newest first
    int count;
  } cases[] = {
      {0, 10, 0, 0, 0, EVENT_CAUSE_ANY, {2, 3, 1}, 3},
      {0, 10, 1, 0, 0, EVENT_CAUSE_ANY, {2, 1}, 2},
      {0, 10, 0, 200, 0, EVENT_CAUSE_ANY, {2, 3}, 2},
      {0, 10, 0, 0, 300, EVENT_CAUSE_ANY, {3, 1}, 2},
      {0, 10, 0, 101, 300, EVENT_CAUSE_ANY, {3}, 1},
      {0, 10, 0, 0, 0, EVENT_CAUSE_MOTION, {2, 3}, 2},
      {0, 10, 1, 100, 400, EVENT_CAUSE_MOTION, {2}, 1},
      {0, 10, -1, 0, 0, EVENT_CAUSE_ANY, {}, 0},
      {1, 1, 0, 0, 0, EVENT_CAUSE_ANY, {3}, 3},  // the second page of one
      {3, 5, 0, 0, 0, EVENT_CAUSE_ANY, {}, 3},
      {0, 0, 0, 0, 0, EVENT_CAUSE_ANY, {}, 3},
      {0, -1, 0, 0, 0, EVENT_CAUSE_ANY, {}, 3},
  };
  for (const auto& c : cases) {
    std::vector<int> ids;
    for (const Event& event : GetEvents(c.first, c.most, c.camera, c.start, c.stop, c.cause))
      ids.push_back(event.GetID());
    EXPECT_EQ(ids, c.ids);
    EXPECT_EQ(GetEventCount(c.camera, c.start, c.stop, c.cause), c.count);
  }
  std::list<int> wanted{3, 77, 1};
  ASSERT_EQ(GetEvents(wanted).size(), 2U);
  EXPECT_EQ(GetEvents(wanted).front().GetID(), 3);
}

}  // namespace
