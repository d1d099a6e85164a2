#include "rowjournal.h"

#include "rowwriter.h"
#include "support/test.h"

namespace wpd {
namespace {

class Journal : public ::testing::Test {
 protected:
  static Event Row(const std::string& path, int frames = 1) {
    Event row(3, 640, 480, EVENT_CAUSE_MOTION, path);
    row.SetStartTime(5000000000);
    row.SetEndTime(5000000009);
    row.SetFrameCount(frames);
    row.SetSize(2147483647);
    return row;
  }
  // The rows that a later daemon finds, as statements, which hold every field.
  static std::vector<std::string> Kept() {
    std::vector<std::string> rows;
    for (const Event& row : RowJournal(3).Load()) rows.push_back(row.strSqlUpdate());
    return rows;
  }

  TestRoot root_;
  std::string file_ = root_ / "var/lib/orva/wpd-3.rows";
  RowJournal journal_{3};
};

TEST_F(Journal, GivesBackWhatItWasGiven) {
  EXPECT_THAT(Kept(), IsEmpty());
  const Event first = Row("it's 2 blanks.avi");
  const Event second = Row(" b\\.avi ");
  journal_.Save({first, second});
  EXPECT_THAT(Kept(), ElementsAre(first.strSqlUpdate(), second.strSqlUpdate()));
  journal_.Save({second});
  EXPECT_THAT(Kept(), ElementsAre(second.strSqlUpdate()));
  journal_.Save({});
  EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(Journal, PassesOverInvalidLines) {
  const std::string good = "3 640 480 5000000000 5000000009 1 2 2147483647 a b.avi\n";
  WriteFile(file_,
            "\n3\nthree 640 480 5 6 1 2 9 a.avi\n4 640 480 5 6 1 2 9 another's.avi\n"
            "3 640 480 5 6 1 2 99999999999 large.avi\n3 640 480 5 6 1 2 9 \n" +
                good + std::string(100, '\0') + "\n3 640 480 5 6 1 2");
  EXPECT_THAT(Kept(), ElementsAre(Row("a b.avi").strSqlUpdate()));
  journal_.Save(journal_.Load());
  EXPECT_EQ(ReadFile(file_), good);
}

TEST_F(Journal, KeepsTheNewestStateOfWhatADatabaseDidNotTake) {
  journal_.Save({Row("begun.avi"), Row("old.avi")});
  DatabaseWorker worker(3);
  RowWriter writer(3, root_ / "recordings", worker);
  writer.Put(Row("a.avi", 1), "", false);
  writer.Put(Row("a.avi", 2), "", true);
  Event repaired = Row("begun.avi", 7);
  repaired.SetStartTime(1);  // guessed
  writer.PutRecovered(repaired, "");
  writer.Keep();
  EXPECT_THAT(Kept(),
              ::testing::UnorderedElementsAre(Row("a.avi", 2).strSqlUpdate(),
                                              Row("begun.avi", 7).strSqlUpdate(),
                                              Row("old.avi").strSqlUpdate()));
}

}  // namespace
}  // namespace wpd
