#pragma once

// A server on this machine that takes connections and never says a word, as a revocation server behind a broken
// firewall does. Ends all of them when it goes.

#include <winsock2.h>
#include <windows.h>

#include <stdexcept>
#include <string>

class CSilentServer {
public:
    CSilentServer() {
        WSADATA data{};
        sockaddr_in address{};
        int size = sizeof address;
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (WSAStartup(MAKEWORD(2, 2), &data) != 0)
            throw std::runtime_error("no sockets");
        m_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(m_listener, SOMAXCONN) != 0 ||
            getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
            throw std::runtime_error("no listener");
        m_port = ntohs(address.sin_port);
    }
    CSilentServer(const CSilentServer&) = delete;
    CSilentServer& operator=(const CSilentServer&) = delete;
    ~CSilentServer() {
        HangUp();
        WSACleanup();
    }

    std::string Url() const { return "http://127.0.0.1:" + std::to_string(m_port) + "/revoked.crl"; }

    /// Whether somebody has connected since the last call. The system takes connections by itself; they wait here.
    bool WasAsked() {
        fd_set waiting;
        FD_ZERO(&waiting);
        FD_SET(m_listener, &waiting);
        timeval atOnce{};
        if (select(0, &waiting, nullptr, nullptr, &atOnce) != 1)
            return false;
        m_connection = accept(m_listener, nullptr, nullptr);
        return m_connection != INVALID_SOCKET;
    }

    /// Refuses everybody from now on.
    void HangUp() {
        closesocket(m_listener);
        closesocket(m_connection);
        m_listener = m_connection = INVALID_SOCKET;
    }

private:
    SOCKET m_listener = INVALID_SOCKET;
    SOCKET m_connection = INVALID_SOCKET;
    unsigned m_port = 0;
};
