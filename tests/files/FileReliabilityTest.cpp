// The file classes under a second process, a full disk, failing allocations and denied
// access. Processes, descriptors and devices are those of Linux.
#include "FileTestSupport.h"

#include <gtest/gtest.h>

#ifndef _WIN32
#  include <sys/wait.h>
#  include <unistd.h>
#endif

namespace {

using F = TFile;

int OpenDescriptors()
{
    int count = 0;
#ifndef _WIN32
    for (auto it = std::filesystem::directory_iterator("/proc/self/fd"); it != std::filesystem::directory_iterator();
         ++it)
        ++count;
#endif
    return count;
}

}  // namespace

#ifndef _WIN32
TEST(FileReliability, SecondProcessMeetsTheShareModes)
{
    Scratch dir;
    const TFileName name = dir("shared");
    int ready[2], done[2];
    ASSERT_EQ(0, pipe(ready));
    ASSERT_EQ(0, pipe(done));
    const pid_t pid = fork();
    if (pid == 0) {
        // The first process: writes, and holds the file until told to go.
        char signal = 0;
        TFile holder(name, F::eCreate | F::eShareRead);
        holder.WriteLine("first process");
        holder.FlushBuffers();
        _exit(write(ready[1], "r", 1) == 1 && read(done[0], &signal, 1) == 1 ? 0 : 1);
    }
    char signal = 0;
    ASSERT_EQ(1, read(ready[0], &signal, 1));
    const Thrown conflict = Catch([&] { TFile(name, F::eReadWrite | F::eShareAll); });
    EXPECT_EQ(Message(18025, name), conflict.text);
    EXPECT_EQ(32u, conflict.code);
    TFile reader(name, F::eRead | F::eShareAll);
    EXPECT_STREQ("first process", reader.ReadLine().c_str());
    ASSERT_EQ(1, write(done[1], "d", 1));
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    for (int fd : {ready[0], ready[1], done[0], done[1]})
        close(fd);
    EXPECT_EQ("first process\r\n", dir.Bytes("shared"));
}

TEST(FileReliability, FullDiskNamesTheDriveAndTheLibraryGoesOn)
{
    static char data[65536];
    for (int route : {0, int(F::eUseMMIO)}) {
        const Thrown full =
            Catch([&] { TFile("C:\\dev\\full", route | F::eWrite | F::eShareAll).Write(data, sizeof data); });
        EXPECT_EQ(Message(18019, "C"), full.text);
        EXPECT_TRUE(full.code == 112 && full.drive == 2) << full.code << " " << full.drive;
    }

    // The library goes on.
    Scratch dir;
    TFile after(dir("after"), F::eCreate);
    after.WriteString("still works");
    EXPECT_EQ(11, after.GetSize());
}

TEST(FileReliability, DeniedNamesExistAndCannotHoldTemporaryNames)
{
    Scratch dir;
    std::filesystem::create_directory(dir.host / "private");
    dir.Put("private/f", "x");
    std::filesystem::permissions(dir.host / "private", std::filesystem::perms::none);
    const pid_t pid = fork();
    if (pid == 0) {
        // The owner's rights do not stop root: the child looks as nobody.
        int code = geteuid() == 0 && setuid(65534) != 0 ? 1 : 0;
        const TFileName hidden = dir("private\\f");
        if (!code && !(F::Exist(hidden, F::eFile) && F::Exist(hidden, F::eDirectory) && F::Exist(hidden, F::eAnyType)))
            code = 2;
        if (!code && Catch([&] { F::GetTempName(dir("private")); }).text != Message(18008))
            code = 3;
        _exit(code);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}
#endif

TEST(FileReliability, FailedAllocationsInOpenAndCloseLeaveNothingBehind)
{
    Scratch dir;
    const TFileName directory((dir.windows + "\\").c_str());
    const unsigned long blocks = _stringHeap->GetBlocksInUse();
    const int descriptors = OpenDescriptors();
    int missed = 0;
    for (unsigned long n = 1; missed < 3; ++n) {
        _stringHeap->FailAllocation(n);
        const Thrown thrown = Catch([&] {
            TFile t(directory, F::eTempName | F::eDeleteOnClose | F::eForceWritable | F::eThreadSafe);
            t.WriteLine("x");
            t.Close();
            TFile(dir("none"), F::eRead);
        });
        _stringHeap->FailAllocation(0);
        missed = thrown.text == Message(18000, dir("none")) ? missed + 1 : 0;
        EXPECT_NE("nothing thrown", thrown.text);  // an exception may lose its text, never itself
        EXPECT_EQ(blocks, _stringHeap->GetBlocksInUse()) << "allocation " << n;
        EXPECT_EQ(descriptors, OpenDescriptors()) << "allocation " << n;
        EXPECT_TRUE(std::filesystem::is_empty(dir.host)) << "allocation " << n;
    }
}
