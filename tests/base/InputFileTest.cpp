// Which files are opened for reading.
#include "base/InputFile.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>

#include "base/NRaiiFile.h"
#include "support/FileTest.h"

namespace {

using InputFileTest = FileTest;

TEST_F(InputFileTest, OnlyRegularFilesAreOpened) {
    std::filesystem::create_directory("directory");
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    std::filesystem::create_symlink("pipe", "link");
    const int iSocket = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{AF_UNIX, "socket"};
    ASSERT_EQ(bind(iSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    for (const auto& [szFile, iErrno] : {std::pair{"missing", ENOENT},
                                         {"directory", EISDIR},
                                         {"pipe", 0},
                                         {"link", 0},
                                         {"socket", 0},
                                         {"/dev/zero", 0},
                                         {"", ENOENT}}) {
        errno = -1;
        EXPECT_EQ(Velk::openInput(szFile), nullptr) << szFile;  // without waiting for a writer
        EXPECT_EQ(errno, iErrno) << szFile;
    }
    close(iSocket);
    writeFile("file", "text");
    std::filesystem::create_symlink("file", "good");
    EXPECT_TRUE(Velk::NRaiiFile(Velk::openInput("good")).get());
}

TEST_F(InputFileTest, PipesAreCopiedWhereTheyAreWanted) {
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    const std::string sText = std::string(300'000, 'a') + "end";
    std::thread writer([&] { writeFile("pipe", sText); });
    const Velk::NRaiiFile file(Velk::openInput("pipe", Velk::INPUT_FILE_OR_PIPE));
    writer.join();
    ASSERT_TRUE(file.get());
    std::string sRead(sText.size() + 1, '\0');
    EXPECT_EQ(fread(sRead.data(), 1, sRead.size(), file.get()), sText.size());
    struct stat status {};
    ASSERT_EQ(fstat(fileno(file.get()), &status), 0);
    EXPECT_EQ(static_cast<size_t>(status.st_size), sText.size());
    sRead.pop_back();
    EXPECT_EQ(firstDifference(sRead, sText), "");
}

}  // namespace
