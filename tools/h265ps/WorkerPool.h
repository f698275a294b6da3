#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

namespace h265ps {

/// Processes that work on tasks, several at a time: whatever a task does to its process, the others go on. Tasks and
/// answers are bytes.
class CWorkerPool
{
public:
    /// Made of a task; runs in a worker.
    using Work = std::function<std::string(const std::string& task)>;
    /// What became of a task. bLost: its process ended in it; the answer is the task and how it ended.
    using Answered = std::function<void(std::uint64_t ulTask, std::string answer, bool bLost)>;

    CWorkerPool(std::size_t uiWorkers, Work work);
    /// Ends the workers, at once.
    ~CWorkerPool();
    CWorkerPool(const CWorkerPool&) = delete;
    CWorkerPool& operator=(const CWorkerPool&) = delete;

    /// Whether a worker has nothing to do.
    [[nodiscard]] bool hasIdle() const noexcept;
    [[nodiscard]] bool isBusy() const noexcept;

    /// Gives an idle worker some tasks, of numbers from ulFirst on: one, or less than a pipe holds. Throws
    /// std::system_error when there can be none.
    void give(std::uint64_t ulFirst, const std::vector<std::string>& tasks);

    /// Waits until answers came, or for so long, or until iWakeUp can be read; hands on what came.
    void wait(int iMilliseconds, int iWakeUp, const Answered& answered);

private:
    class CMessages;
    struct Worker
    {
        pid_t iProcess = -1;
        int iTasks = -1;                    // written to
        int iAnswers = -1;                  // read from
        std::vector<std::uint64_t> open;    // tasks that it has, the next one last
        std::vector<std::string> openTasks; // these
        std::unique_ptr<CMessages> pAnswers;
    };

    void start(Worker& worker);
    [[noreturn]] void run(int iTasks, int iAnswers) const;
    static void stop(Worker& worker) noexcept;
    static void send(Worker& worker);
    static bool receive(Worker& worker, const Answered& answered);
    void lose(Worker& worker, const Answered& answered);

    Work m_work;
    std::vector<Worker> m_workers;
};

} // namespace h265ps
