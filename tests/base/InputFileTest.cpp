// Which files are opened for reading.
#include "base/InputFile.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

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

}  // namespace
