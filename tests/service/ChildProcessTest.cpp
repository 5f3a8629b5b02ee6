// ChildProcessTest.cpp: a host that runs the service in-process and starts programs hands them
// none of the service's sockets; run through the Linux shell, so built on Linux only.
#include "ServiceTestSupport.h"

#include <boost/asio.hpp>
#include <fcntl.h>

namespace servicetest {
namespace {

using ServiceChildProcessTest = ServiceTest;

TEST_F(ServiceChildProcessTest, ProgramsStartedMeanwhileGetNoneOfItsSockets) {
    StartService();
    // A connection the service has accepted, and answered so that it surely has.
    boost::asio::io_context context;
    boost::asio::ip::tcp::socket client(context);
    client.connect({boost::asio::ip::make_address("127.0.0.1"), service->Port()});
    fcntl(client.native_handle(), F_SETFD, FD_CLOEXEC);  // the test's own end
    const std::string request = "GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n";
    boost::asio::write(client, boost::asio::buffer(request));
    char answer[12];
    boost::asio::read(client, boost::asio::buffer(answer));
    ASSERT_EQ(std::string(answer, sizeof answer), "HTTP/1.1 200");

    std::string descriptors;
    ASSERT_EQ(testfiles::RunCommand("ls -l /proc/$$/fd", &descriptors), 0);
    EXPECT_EQ(descriptors.find("socket:"), std::string::npos) << descriptors;
}

}  // namespace
}  // namespace servicetest
