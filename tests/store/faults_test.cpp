// The store under faults: processes killed in the middle of an import or a compaction,
// a full disk, a read-only home, a write lock held past the wait, damaged files. After
// each, the store opens, passes its integrity check, holds every letter that was
// reported as stored with all of its octets, and keeps any backup that was good.
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "letter_fixture.h"
#include "platform/filesystem.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/data_cursor.h"

namespace ravelin::test {
namespace {

// The octets of letter i's attachment: different for every letter and every offset.
std::string PartOctets(int i, size_t size) {
  std::string s(size, '\0');
  uint32_t x = 2654435761u * static_cast<uint32_t>(i + 1);
  for (auto& c : s) {
    x ^= x << 13, x ^= x >> 17, x ^= x << 5;
    c = static_cast<char>(x);
  }
  return s;
}

mailHeader Letter(int i, size_t partSize) {
  mailHeader h;
  h.Subject = u"letter " + NumToText(i);
  h.From = u"sender@example.org";
  h.to = u"reader@example.org";
  h.Message = u"text of letter " + NumToText(i);
  AttachFile a;
  a.ftype = u"application";
  a.fsubtype = u"octet-stream";
  a.fname = u"part" + NumToText(i) + u".bin";
  a.fData = BytesToByteText(PartOctets(i, partSize));
  h.attFiles.push_back(a);
  return h;
}

// Stores letter i in the caller's transaction, or throws.
int32_t Store(int i, size_t partSize) {
  mailHeader h = Letter(i, partSize);
  int32_t folder = Inbox;
  const std::u16string key = store::AddLetterFromMailHeader(h, folder);
  return static_cast<int32_t>(Val(key));
}

// Runs `child` in another process and returns its exit code (99 when it was killed).
int InChild(const std::function<int()>& child) {
  std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) _exit(child());
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 99;
}

class FaultsTest : public StoreFixture {
 protected:
  std::u16string Path() { return module1::GetEmailDbPath(); }

  // Every stored letter (by subject number) that its key really holds, with its part.
  void ExpectHeld(const std::map<int32_t, int>& reported, size_t partSize) {
    const auto report = store::CheckMailDatabase(Path());
    EXPECT_TRUE(report.sound) << (report.problems.empty() ? "" : ToUtf8(report.problems[0]));
    for (const auto& [key, i] : reported) {
      const Row letter = Stored(key);
      ASSERT_FALSE(letter.empty()) << "letter " << i << " reported as key " << key << " is gone";
      EXPECT_EQ(letter.at(u"Subject").AsText(), u"letter " + NumToText(i));
      const auto files = Rows(u"Select * from Files where N=" + NumToText(key) + u";");
      ASSERT_EQ(files.size(), 1u) << "letter " << i;
      const auto& data = files[0].at(u"Data").AsBinary();
      EXPECT_TRUE(std::string(data.begin(), data.end()) == PartOctets(i, partSize)) << "letter " << i;
    }
  }

  size_t LetterCount() { return Rows(u"Letters").size(); }
};

// Reads "key index" lines a child writes after each commit.
std::map<int32_t, int> ReadReports(int fd) {
  std::map<int32_t, int> out;
  std::string text;
  char buf[4096];
  ssize_t n;
  while ((n = read(fd, buf, sizeof buf)) > 0) text.append(buf, static_cast<size_t>(n));
  size_t pos = 0;
  while (true) {
    const size_t nl = text.find('\n', pos);
    if (nl == std::string::npos) break;  // a line cut by the kill was never a report
    int key = 0, i = 0;
    if (std::sscanf(text.c_str() + pos, "%d %d", &key, &i) == 2) out[key] = i;
    pos = nl + 1;
  }
  return out;
}

TEST_F(FaultsTest, ImportKilledAtRandomPointsLosesNothingReported) {
  constexpr size_t kPart = 3000;
  std::mt19937 rng(20261123);
  std::map<int32_t, int> reported;
  int next = 0;
  for (int trial = 0; trial < 5; ++trial) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const int first = next;
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
      close(fds[0]);
      // Batches of letters in one transaction, as the command-line import commits;
      // keys are told only once their batch is committed.
      for (int i = first;; i += 7) {
        std::vector<std::pair<int32_t, int>> batch;
        dao::Engine().BeginTrans();
        for (int j = i; j < i + 7; ++j) batch.emplace_back(Store(j, kPart), j);
        dao::Engine().CommitTrans();
        std::string lines;
        for (auto [key, j] : batch) lines += std::to_string(key) + " " + std::to_string(j) + "\n";
        if (write(fds[1], lines.data(), lines.size()) < 0) _exit(3);
      }
    }
    close(fds[1]);
    std::this_thread::sleep_for(std::chrono::milliseconds(80 + rng() % 400));
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    const auto got = ReadReports(fds[0]);
    close(fds[0]);
    for (const auto& [key, i] : got) {
      EXPECT_EQ(reported.count(key), 0u) << "key " << key << " handed out twice";
      reported[key] = i;
      next = std::max(next, i + 1);
    }
    next += 7;
  }
  ASSERT_FALSE(reported.empty()) << "no batch was committed before the kills";
  ExpectHeld(reported, kPart);
  // Nothing but whole batches: a letter is there only with the rest of its batch.
  EXPECT_EQ(LetterCount() % 7, 0u);
}

TEST_F(FaultsTest, CompactionKilledAtEachStepLeavesADatabaseAndTheBackup) {
  constexpr size_t kPart = 2000;
  std::map<int32_t, int> reported;
  for (int i = 0; i < 20; ++i) reported[Store(i, kPart)] = i;
  ASSERT_TRUE(store::CompressDb());  // a first, good backup
  const std::u16string bak = fs::JoinPath(module1::GetDbFolder(), u"EmailW~.mdb");
  for (int i = 20; i < 30; ++i) reported[Store(i, kPart)] = i;

  for (auto step : {store::CompressStep::Checked, store::CompressStep::BackedUp, store::CompressStep::Compacted,
                    store::CompressStep::Replaced}) {
    SCOPED_TRACE(static_cast<int>(step));
    const int rc = InChild([&] {
      store::SetCompressStepHook([&](store::CompressStep reached) {
        if (reached == step) raise(SIGKILL);
      });
      store::CompressDb();
      return 0;
    });
    EXPECT_EQ(rc, 99);
    ASSERT_TRUE(fs::FileExists(Path()));
    ExpectHeld(reported, kPart);
    EXPECT_TRUE(store::CheckMailDatabase(bak).sound) << "the backup was damaged";
    // The next run finishes what was interrupted.
    EXPECT_TRUE(store::CompressDb());
    ExpectHeld(reported, kPart);
  }
}

// A store in a small file system of its own, in a child with a mount namespace. Skips
// where the system allows neither.
bool MountSmallDisk(const std::string& where, const std::string& size) {
  if (unshare(CLONE_NEWNS) != 0 && (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)) return false;
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
  std::filesystem::create_directories(where);
  return mount("tmpfs", where.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
}

TEST_F(FaultsTest, FullDiskAndReadOnlyHomeRefuseTheLetterAndKeepTheRest) {
  const std::string disk = (home_->path() / "disk").string();
  const int rc = InChild([&]() -> int {
    if (!MountSmallDisk(disk, "1m")) return 77;
    host().SetHome(FromUtf8(disk));
    store::CorrectDB(Path());
    constexpr size_t kPart = 40000;
    std::map<int32_t, int> reported;
    int refused = 0;
    int i = 0;
    for (; i < 200 && refused == 0; ++i) {
      try {
        reported[Store(i, kPart)] = i;
      } catch (const Error& e) {
        ++refused;
        EXPECT_EQ(store::DescribeFailure(ErrObject::From(e)), u"the disk is full") << ToUtf8(e.Description());
      }
    }
    EXPECT_EQ(refused, 1) << "the disk never filled";
    EXPECT_GT(reported.size(), 3u);
    ExpectHeld(reported, kPart);

    // The same home made read-only: told in words, and the letters stay.
    EXPECT_EQ(mount(nullptr, disk.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    try {
      Store(999, 10);
      ADD_FAILURE() << "a letter was stored on a read-only disk";
    } catch (const Error& e) {
      EXPECT_EQ(store::DescribeFailure(ErrObject::From(e)), u"the mail database is read-only")
          << e.Number() << " " << ToUtf8(e.Description());
    }
    EXPECT_EQ(mount(nullptr, disk.c_str(), nullptr, MS_REMOUNT, nullptr), 0);
    ExpectHeld(reported, kPart);
    EXPECT_EQ(LetterCount(), reported.size());
    return ::testing::Test::HasFailure() ? 1 : 0;
  });
  if (rc == 77) GTEST_SKIP() << "this system lets the test mount no small file system";
  EXPECT_EQ(rc, 0);
}

TEST_F(FaultsTest, WriteLockHeldPastTheWaitIsToldAndNothingIsStored) {
  std::map<int32_t, int> reported{{Store(0, 100), 0}};
  int ready[2], done[2];
  ASSERT_EQ(pipe(ready), 0);
  ASSERT_EQ(pipe(done), 0);
  std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    // Another program holds the write lock until told to let go.
    auto db = dao::OpenDatabase(Path());
    dao::Engine().BeginTrans();
    auto rs = db->OpenRecordset(u"Packs");
    rs->AddNew();
    char c = 1;
    if (write(ready[1], &c, 1) != 1 || read(done[0], &c, 1) != 1) _exit(2);
    _exit(0);
  }
  char c = 0;
  ASSERT_EQ(read(ready[0], &c, 1), 1);
  const int32_t saved = dao::Engine().tuning().busyTimeoutMs;
  dao::Engine().tuning().busyTimeoutMs = 300;
  store::detail::OpenMailDatabase();  // a connection made with the short wait
  try {
    Store(1, 100);
    ADD_FAILURE() << "a letter was stored under another program's write lock";
  } catch (const Error& e) {
    EXPECT_EQ(store::DescribeFailure(ErrObject::From(e)), u"the mail database is in use by another program (waited 1 s)");
  }
  dao::Engine().tuning().busyTimeoutMs = saved;
  ASSERT_EQ(write(done[1], &c, 1), 1);
  waitpid(pid, nullptr, 0);
  ExpectHeld(reported, 100);
  EXPECT_EQ(LetterCount(), 1u);
}

TEST_F(FaultsTest, APartLargerThanOneValueIsRefusedBeforeAnythingIsWritten) {
  auto& tuning = dao::Engine().tuning();
  const int64_t saved = tuning.maxValueBytes;
  tuning.maxValueBytes = 100000;
  std::map<int32_t, int> reported{{Store(0, 90000), 0}};
  try {
    Store(1, 150000);
    ADD_FAILURE() << "a part over the limit was stored";
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), dao::dberr::kFieldTooSmall);
    EXPECT_NE(e.Description().find(u"part1.bin"), std::u16string::npos) << ToUtf8(e.Description());
  }
  tuning.maxValueBytes = saved;
  EXPECT_EQ(LetterCount(), 1u);
  ExpectHeld(reported, 90000);
}

TEST_F(FaultsTest, DamagedFilesAreFoundAndNeverReplaceTheBackup) {
  constexpr size_t kPart = 20000;
  std::map<int32_t, int> reported;
  for (int i = 0; i < 40; ++i) reported[Store(i, kPart)] = i;
  {
    const auto r = store::CompressDatabase();
    ASSERT_TRUE(r.compacted) << (r.failure ? ToUtf8(r.failure->Description) : ToUtf8(r.message));
  }
  const std::u16string bak = fs::JoinPath(module1::GetDbFolder(), u"EmailW~.mdb");
  const std::string goodBackup = fs::ReadAll(bak);
  const std::string good = fs::ReadAll(Path());

  struct Damage {
    const char* what;
    std::function<std::string(std::string)> apply;
  };
  const Damage damages[] = {
      {"bytes overwritten in the middle",
       [](std::string f) {
         for (size_t i = f.size() / 2; i < f.size() / 2 + 10000; ++i) f[i] = static_cast<char>(i * 7);
         return f;
       }},
      {"truncated", [](std::string f) { return f.substr(0, f.size() / 3); }},
      {"not a database at all", [](std::string) { return std::string("Subject: hello\r\n\r\nnot a database\r\n"); }},
  };
  for (const Damage& d : damages) {
    SCOPED_TRACE(d.what);
    fs::SetAttributes(Path(), fs::kNormal);
    fs::WriteAll(Path(), d.apply(good));
    const auto report = store::CheckMailDatabase(Path());
    EXPECT_FALSE(report.sound);
    EXPECT_FALSE(report.problems.empty());

    user().shown.clear();
    EXPECT_FALSE(store::CompressDb());
    EXPECT_EQ(fs::ReadAll(bak), goodBackup) << "the good backup was replaced";
    ASSERT_EQ(user().shown.size(), 1u);
    const std::u16string& told = user().shown[0].text;
    EXPECT_NE(told.find(bak), std::u16string::npos) << ToUtf8(told);
    size_t asideCount = 0;
    for (const auto& f : fs::ListFiles(module1::GetDbFolder())) {
      if (fs::FileName(f).rfind(u"EmailW.damaged-", 0) != 0) continue;
      if (told.find(f) != std::u16string::npos) {
        ++asideCount;
        EXPECT_EQ(fs::ReadAll(f), d.apply(good)) << "the damaged file was not kept as it was";
      }
      fs::DeleteFile(f);
    }
    EXPECT_EQ(asideCount, 1u) << ToUtf8(told);
    // The store is made again from the backup: every letter is there.
    ExpectHeld(reported, kPart);
  }
}

}  // namespace
}  // namespace ravelin::test
