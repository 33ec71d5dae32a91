// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A session manager of the X Session Management Protocol for one client: prints where it listens,
// then "registered" when the client has come. A line on standard input ends the session: the client
// is asked to save itself and is told to die when it has; then prints "saved" and, when the client
// has gone, "gone".
#include <X11/ICE/ICElib.h>
#include <X11/SM/SMlib.h>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <unistd.h>
#include <vector>

// Of libICE, without a header: keeps it from listening on a transport.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int _IceTransNoListen(const char* protocol);

namespace {

struct Session
{
    SmsConn client = nullptr;
};

void say(const char* text)
{
    std::puts(text);
    std::fflush(stdout);
}

Status registerClient(SmsConn client, SmPointer /*manager*/, char* previous)
{
    std::free(previous);
    char* const id = SmsGenerateClientID(client);
    const Status status = SmsRegisterClientReply(client, id);
    std::free(id);
    // What the protocol asks for after the first registration.
    SmsSaveYourself(client, SmSaveLocal, False, SmInteractStyleNone, False);
    return status;
}

void saveDone(SmsConn client, SmPointer manager, Bool /*success*/)
{
    static int saves = 0;
    if (++saves == 1) {
        SmsSaveComplete(client);
        static_cast<Session*>(manager)->client = client;
        say("registered");
        return;
    }
    say("saved");
    SmsDie(client);
}

void closeConnection(SmsConn client, SmPointer /*manager*/, int count, char** reasons)
{
    SmFreeReasons(count, reasons);
    IceConn ice = SmsGetIceConnection(client);
    SmsCleanUp(client);
    IceSetShutdownNegotiation(ice, False);
    IceCloseConnection(ice);
    say("gone");
    std::exit(EXIT_SUCCESS);
}

void interactRequest(SmsConn client, SmPointer /*manager*/, int /*type*/)
{
    SmsInteract(client);
}

void ignoreInteractDone(SmsConn /*client*/, SmPointer /*manager*/, Bool /*cancel*/) {}

void ignoreSaveRequest(SmsConn, SmPointer, int, Bool, int, Bool, Bool) {}

void ignorePhase2(SmsConn client, SmPointer /*manager*/)
{
    SmsSaveYourselfPhase2(client);
}

void freeProperties(SmsConn /*client*/, SmPointer /*manager*/, int count, SmProp** properties)
{
    for (int i = 0; i < count; ++i)
        SmFreeProperty(properties[i]);
    std::free(static_cast<void*>(properties));
}

void deleteProperties(SmsConn /*client*/, SmPointer /*manager*/, int count, char** names)
{
    for (int i = 0; i < count; ++i)
        std::free(names[i]);
    std::free(static_cast<void*>(names));
}

void getProperties(SmsConn client, SmPointer /*manager*/)
{
    SmsReturnProperties(client, 0, nullptr);
}

Status welcome(SmsConn /*client*/,
               SmPointer manager,
               unsigned long* mask,
               SmsCallbacks* callbacks,
               char** /*failure*/)
{
    *mask = SmsRegisterClientProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask |
            SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask |
            SmsSaveYourselfDoneProcMask | SmsCloseConnectionProcMask | SmsSetPropertiesProcMask |
            SmsDeletePropertiesProcMask | SmsGetPropertiesProcMask;
    callbacks->register_client = {registerClient, manager};
    callbacks->interact_request = {interactRequest, manager};
    callbacks->interact_done = {ignoreInteractDone, manager};
    callbacks->save_yourself_request = {ignoreSaveRequest, manager};
    callbacks->save_yourself_phase2_request = {ignorePhase2, manager};
    callbacks->save_yourself_done = {saveDone, manager};
    callbacks->close_connection = {closeConnection, manager};
    callbacks->set_properties = {freeProperties, manager};
    callbacks->delete_properties = {deleteProperties, manager};
    callbacks->get_properties = {getProperties, manager};
    return True;
}

Bool letEverybodyIn(char* /*host*/)
{
    return True;
}

void endOnIoError(IceConn /*connection*/)
{
    say("gone");
    std::exit(EXIT_SUCCESS);
}

} // namespace

int main()
{
    Session session;
    std::array<char, 256> error{};
    if (!SmsInitialize("test", "1", welcome, &session, letEverybodyIn, error.size(), error.data()))
        return EXIT_FAILURE;
    IceSetIOErrorHandler(endOnIoError);
    _IceTransNoListen("tcp");
    int count = 0;
    IceListenObj* listeners = nullptr;
    if (!IceListenForConnections(&count, &listeners, error.size(), error.data()))
        return EXIT_FAILURE;
    std::vector<pollfd> watched{{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0}};
    for (int i = 0; i < count; ++i) {
        IceSetHostBasedAuthProc(listeners[i], letEverybodyIn);
        watched.push_back(
            {.fd = IceGetListenConnectionNumber(listeners[i]), .events = POLLIN, .revents = 0});
    }
    char* const networkIds = IceComposeNetworkIdList(count, listeners);
    say(networkIds);
    std::free(networkIds);

    IceConn connection = nullptr;
    while (::poll(watched.data(), watched.size(), -1) > 0) {
        if ((watched.front().revents & (POLLIN | POLLHUP)) != 0) {
            std::array<char, 64> line{};
            if (::read(STDIN_FILENO, line.data(), line.size()) <= 0)
                return EXIT_FAILURE; // the test has gone
            if (session.client)
                SmsSaveYourself(session.client, SmSaveLocal, True, SmInteractStyleNone, False);
        }
        for (int i = 0; i < count && connection == nullptr; ++i) {
            if ((watched[1 + static_cast<std::size_t>(i)].revents & POLLIN) == 0)
                continue;
            IceAcceptStatus status = IceAcceptSuccess;
            connection = IceAcceptConnection(listeners[i], &status);
            if (connection)
                watched.push_back(
                    {.fd = IceConnectionNumber(connection), .events = POLLIN, .revents = 0});
        }
        if (connection && (watched.back().revents & (POLLIN | POLLHUP)) != 0)
            IceProcessMessages(connection, nullptr, nullptr);
    }
    return EXIT_FAILURE;
}
