#include "WorkerPool.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace h265ps {

namespace {

using Size = std::uint32_t;

// What is longer is cut: no answer comes near it.
constexpr std::size_t MAX_MESSAGE = std::size_t{1} << 30;

bool writeAll(int iFile, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t iWritten = ::write(iFile, bytes.data(), bytes.size());
        if (iWritten > 0)
            bytes.remove_prefix(static_cast<std::size_t>(iWritten));
        else if (iWritten == 0 || errno != EINTR)
            return false;
    }
    return true;
}

// A message: its size, and its bytes.
void appendMessage(std::string& to, std::string_view bytes)
{
    bytes = bytes.substr(0, MAX_MESSAGE);
    const Size uiSize = static_cast<Size>(bytes.size());
    std::array<char, sizeof(Size)> acSize{};
    std::memcpy(acSize.data(), &uiSize, sizeof(Size));
    to.append(acSize.data(), acSize.size());
    to.append(bytes);
}

Size sizeAt(const char* pFrom)
{
    Size uiSize = 0;
    std::memcpy(&uiSize, pFrom, sizeof(Size));
    return uiSize;
}

std::string endingOf(int iStatus)
{
    if (WIFSIGNALED(iStatus))
        return std::string("a signal ended the process that read it: ") + ::strsignal(WTERMSIG(iStatus));
    return "the process that read it ended with exit code " + std::to_string(WEXITSTATUS(iStatus));
}

} // namespace

// The messages that come through a pipe.
class CWorkerPool::CMessages
{
public:
    explicit CMessages(int iFile) : m_iFile(iFile) {}

    // Whether there is one that is not waited for.
    [[nodiscard]] bool hasNext() const
    {
        return m_received.size() - m_uiAt >= sizeof(Size) &&
               m_received.size() - m_uiAt - sizeof(Size) >= sizeAt(m_received.data() + m_uiAt);
    }

    // What has come; false at the end.
    bool receive()
    {
        m_received.erase(0, std::exchange(m_uiAt, 0));
        std::array<char, std::size_t{64} << 10> acPiece; // what a pipe holds; only what is read is looked at
        while (true) {
            const ssize_t iRead = ::read(m_iFile, acPiece.data(), acPiece.size());
            if (iRead > 0)
                m_received.append(acPiece.data(), static_cast<std::size_t>(iRead));
            if (iRead >= 0 || errno != EINTR)
                return iRead > 0;
        }
    }

    // The next one, of those that there are.
    std::string take()
    {
        const std::size_t uiSize = sizeAt(m_received.data() + m_uiAt);
        std::string message = m_received.substr(m_uiAt + sizeof(Size), uiSize);
        m_uiAt += sizeof(Size) + uiSize;
        return message;
    }

private:
    int m_iFile;
    std::string m_received;
    std::size_t m_uiAt = 0;
};

CWorkerPool::CWorkerPool(std::size_t uiWorkers, Work work) : m_work(std::move(work)), m_workers(uiWorkers) {}

CWorkerPool::~CWorkerPool()
{
    for (Worker& worker : m_workers)
        stop(worker);
}

bool CWorkerPool::hasIdle() const noexcept
{
    return std::ranges::any_of(m_workers, [](const Worker& worker) { return worker.open.empty(); });
}

bool CWorkerPool::isBusy() const noexcept
{
    return std::ranges::any_of(m_workers, [](const Worker& worker) { return !worker.open.empty(); });
}

void CWorkerPool::give(std::uint64_t ulFirst, const std::vector<std::string>& tasks)
{
    // Workers are started when there is work for them.
    auto worker =
        std::ranges::find_if(m_workers, [](const Worker& one) { return one.open.empty() && one.iProcess >= 0; });
    if (worker == m_workers.end())
        worker = std::ranges::find_if(m_workers, [](const Worker& one) { return one.open.empty(); });
    if (worker->iProcess < 0)
        start(*worker);
    for (std::size_t i = tasks.size(); i-- != 0;) {
        worker->open.push_back(ulFirst + i);
        worker->openTasks.push_back(tasks[i]);
    }
    send(*worker);
}

// A write that fails says that the process has ended, which is seen when its answers are waited for.
void CWorkerPool::send(Worker& worker)
{
    std::string messages;
    for (std::size_t i = worker.openTasks.size(); i-- != 0;)
        appendMessage(messages, worker.openTasks[i]);
    (void)writeAll(worker.iTasks, messages);
}

void CWorkerPool::start(Worker& worker)
{
    std::array<int, 2> tasks{};
    std::array<int, 2> answers{};
    if (::pipe(tasks.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "no process can be started");
    if (::pipe(answers.data()) != 0) {
        const int iErrno = errno;
        ::close(tasks[0]);
        ::close(tasks[1]);
        throw std::system_error(iErrno, std::generic_category(), "no process can be started");
    }
    const pid_t iProcess = ::fork();
    const int iErrno = errno;
    if (iProcess == 0) {
        ::close(tasks[1]);
        ::close(answers[0]);
        run(tasks[0], answers[1]);
    }
    ::close(tasks[0]);
    ::close(answers[1]);
    if (iProcess < 0) {
        ::close(tasks[1]);
        ::close(answers[0]);
        throw std::system_error(iErrno, std::generic_category(), "no process can be started");
    }
    worker.iProcess = iProcess;
    worker.iTasks = tasks[1];
    worker.iAnswers = answers[0];
    worker.pAnswers = std::make_unique<CMessages>(answers[0]);
}

// The worker's life. It ends when nobody has tasks for it any more.
void CWorkerPool::run(int iTasks, int iAnswers) const
{
    for (const Worker& other : m_workers) {
        if (other.iProcess >= 0) {
            ::close(other.iTasks);
            ::close(other.iAnswers);
        }
    }
    // Who started the program ends it, and it ends its workers.
    (void)std::signal(SIGINT, SIG_IGN);
    (void)std::signal(SIGHUP, SIG_IGN);
    (void)std::signal(SIGTERM, SIG_DFL);
    // Answers go out together while the tasks are quick.
    using Clock = std::chrono::steady_clock;
    constexpr auto QUICK = std::chrono::milliseconds(20);
    constexpr std::size_t ENOUGH = std::size_t{32} << 10;
    CMessages messages(iTasks);
    std::string answers;
    Clock::time_point sent = Clock::now();
    while (messages.hasNext() || messages.receive()) {
        if (!messages.hasNext())
            continue;
        appendMessage(answers, m_work(messages.take()));
        const Clock::time_point now = Clock::now();
        if (messages.hasNext() && now - sent < QUICK && answers.size() < ENOUGH)
            continue;
        if (!writeAll(iAnswers, answers))
            break;
        answers.clear();
        sent = now;
    }
    ::_exit(0); // without what the program still holds of its output
}

void CWorkerPool::stop(Worker& worker) noexcept
{
    if (worker.iProcess < 0)
        return;
    ::close(worker.iTasks);
    ::close(worker.iAnswers);
    if (!worker.open.empty()) // else it ends because nobody has tasks for it
        (void)::kill(worker.iProcess, SIGKILL);
    (void)::waitpid(worker.iProcess, nullptr, 0);
    worker.iProcess = -1;
}

void CWorkerPool::wait(int iMilliseconds, int iWakeUp, const Answered& answered)
{
    std::vector<pollfd> files = {{iWakeUp, POLLIN, 0}};
    for (const Worker& worker : m_workers)
        files.push_back({worker.open.empty() ? -1 : worker.iAnswers, POLLIN, 0});
    if (::poll(files.data(), files.size(), iMilliseconds) <= 0 || files[0].revents != 0)
        return;
    for (std::size_t i = 0; i < m_workers.size(); ++i) {
        if (files[i + 1].revents != 0 && !receive(m_workers[i], answered))
            lose(m_workers[i], answered);
    }
}

// False: the process has ended.
bool CWorkerPool::receive(Worker& worker, const Answered& answered)
{
    if (!worker.pAnswers->receive())
        return false;
    while (worker.pAnswers->hasNext() && !worker.open.empty()) {
        const std::uint64_t ulTask = worker.open.back();
        worker.open.pop_back();
        worker.openTasks.pop_back();
        answered(ulTask, worker.pAnswers->take(), false);
    }
    return true;
}

// The task that it was at is lost; those behind it are given to a new process.
void CWorkerPool::lose(Worker& worker, const Answered& answered)
{
    int iStatus = 0;
    ::close(worker.iTasks);
    ::close(worker.iAnswers);
    (void)::waitpid(worker.iProcess, &iStatus, 0);
    worker.iProcess = -1;
    const std::uint64_t ulTask = worker.open.back();
    const std::string task = std::move(worker.openTasks.back());
    worker.open.pop_back();
    worker.openTasks.pop_back();
    answered(ulTask, task + ": " + endingOf(iStatus), true);
    if (worker.open.empty())
        return;
    start(worker);
    send(worker);
}

} // namespace h265ps
