// A program on a machine that resolves no names: whoever asks the system for an address gets none, since the
// program's own function stands before the system's. Says whether a stream reaches "localhost" all the same.

#include "QNet/TcpServer.h"
#include "QNet/TcpStream.h"

#include "QBase/String.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <netdb.h>

using namespace QBase;
using namespace QNet;

extern "C" int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**)
{
    return EAI_NONAME;
}

namespace
{

bool Reaches(const char* pHost, int port)
{
    const Ptr<TcpStream> pStream = TcpStream::Construct(Value::Null);
    if (!pStream->Connect(pHost, port)) {
        return false;
    }
    while (pStream->GetState() == TcpStream::CONNECTING) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return pStream->GetState() == TcpStream::OPEN;
}

} // namespace

int main()
{
    const Ptr<TcpServer> pServer = TcpServer::Construct(Value::Null);
    if (!pServer->Listen("", 0)) {
        return EXIT_FAILURE;
    }
    for (const char* const pHost : {"localhost", "127.0.0.1", "example.invalid"}) {
        std::printf("%s: %s\n", pHost, Reaches(pHost, pServer->GetPort()) ? "reached" : "not found");
    }
    return EXIT_SUCCESS;
}
