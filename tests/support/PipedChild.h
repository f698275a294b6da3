#pragma once

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sched.h>

#include "ChildProcess.h"

/// A program whose standard input, output and error are pipes that the test holds the other ends of.
class CPipedChild
{
public:
    CPipedChild(const std::string& program, std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), program);
        std::vector<char*> pointers;
        for (std::string& argument : arguments)
            pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        int aaiPipes[3][2];
        for (auto& aiPipe : aaiPipes) {
            if (::pipe2(aiPipe, O_CLOEXEC) != 0)
                throw std::runtime_error("no pipe");
        }
        m_iChild = ::fork();
        if (m_iChild == 0) {
            for (const int i : {0, 1, 2})
                ::dup2(aaiPipes[i][i == 0 ? 0 : 1], i);
            takeSignalsAsUsual();
            ::execv(program.c_str(), pointers.data());
            ::_exit(127);
        }
        for (const int i : {0, 1, 2}) {
            ::close(aaiPipes[i][i == 0 ? 0 : 1]);
            m_aiEnds[i] = aaiPipes[i][i == 0 ? 1 : 0];
        }
    }
    ~CPipedChild()
    {
        for (int& iEnd : m_aiEnds)
            close(iEnd);
        if (m_iChild > 0) {
            ::kill(m_iChild, SIGKILL);
            ::waitpid(m_iChild, nullptr, 0);
        }
    }
    CPipedChild(const CPipedChild&) = delete;
    CPipedChild& operator=(const CPipedChild&) = delete;

    void send(std::string_view bytes)
    {
        while (!bytes.empty()) {
            const ssize_t iWritten = ::write(m_aiEnds[0], bytes.data(), bytes.size());
            if (iWritten <= 0)
                throw std::runtime_error("the child reads no more");
            bytes.remove_prefix(static_cast<std::size_t>(iWritten));
        }
    }
    /// Waits until the child has read all that was sent; false when it does not within a minute.
    /// Takes its output meanwhile.
    [[nodiscard]] bool hasReadAll()
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        int iUnread = 0;
        while (::ioctl(m_aiEnds[0], FIONREAD, &iUnread) == 0 && iUnread != 0) {
            if (std::chrono::steady_clock::now() > deadline || isGone())
                return false;
            pollfd asked = {.fd = m_aiEnds[1], .events = POLLIN, .revents = 0};
            if (::poll(&asked, 1, 0) > 0)
                take(m_aiEnds[1], m_output);
            ::sched_yield();
        }
        return true;
    }
    /// Adds output until it holds the text; false when that does not come within a minute.
    bool shows(std::string_view text)
    {
        while (m_output.find(text) == std::string::npos) {
            pollfd waiting = {.fd = m_aiEnds[1], .events = POLLIN, .revents = 0};
            if (::poll(&waiting, 1, 60000) <= 0 || !take(m_aiEnds[1], m_output))
                return false;
        }
        return true;
    }
    void kill(int iSignal) const { ::kill(m_iChild, iSignal); }
    [[nodiscard]] pid_t process() const { return m_iChild; }

    /// Ends the input and waits for the child: the status that waitpid gives. Output and error are complete then.
    int end()
    {
        close(m_aiEnds[0]);
        while (take(m_aiEnds[1], m_output)) {
        }
        while (take(m_aiEnds[2], m_error)) {
        }
        int iStatus = 0;
        ::waitpid(m_iChild, &iStatus, 0);
        m_iChild = -1;
        return iStatus;
    }

    std::string m_output;
    std::string m_error;

private:
    static void close(int& iEnd)
    {
        if (iEnd >= 0)
            ::close(iEnd);
        iEnd = -1;
    }
    static bool take(int iEnd, std::string& to)
    {
        char acPiece[65536];
        const ssize_t iRead = ::read(iEnd, acPiece, sizeof(acPiece));
        to.append(acPiece, static_cast<std::size_t>(iRead > 0 ? iRead : 0));
        return iRead > 0;
    }
    // Has ended: its end of the input pipe is closed.
    [[nodiscard]] bool isGone() const
    {
        pollfd asked = {.fd = m_aiEnds[0], .events = 0, .revents = 0};
        return ::poll(&asked, 1, 0) > 0 && (asked.revents & POLLERR) != 0;
    }

    pid_t m_iChild = -1;
    int m_aiEnds[3] = {-1, -1, -1}; // ours
};
