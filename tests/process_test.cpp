// Signals, daemons, core dumps, commands and waiting, in real processes.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <sstream>

#include "base/descriptor.h"
#include "tests/support/peer.h"
#include "tests/support/test.h"

namespace {

using peer::Interruptions;

// What a child process wrote to its report, and how it ended.
struct Child {
  int status;
  std::string report;
};

// The report's descriptor lies beyond those that a daemon closes.
constexpr int kReport = 300;

template <class... Values>
void tell(const Values&... values) {
  std::ostringstream out;
  (out << ... << values);
  const std::string text = out.str();
  if (write(kReport, text.data(), text.size()) < 0) _exit(99);
}

template <class Work>
Child in_child(Work work) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], kReport);
    close(ends[1]);
    work();
    _exit(0);
  }
  close(ends[1]);
  const vxa::Descriptor reader(ends[0]);
  Child result{};
  for (char c; read(reader.get(), &c, 1) == 1;) result.report.push_back(c);
  waitpid(child, &result.status, 0);
  return result;
}

std::string here() { return std::filesystem::current_path().string(); }

void ignore_signal(int) {}

TEST(Signals, HandlersInterruptCallsAndGiveTheOneBefore) {
  EXPECT_EQ(_vesk_register_signal(SIGKILL, ignore_signal), reinterpret_cast<vesk_signal_handler>(-1L));
  for (const int number : {SIGSEGV, SIGBUS, SIGUSR1}) {
    struct sigaction installed;
    const vesk_signal_handler original = _vesk_register_signal(number, ignore_signal);
    sigaction(number, nullptr, &installed);
    EXPECT_EQ(_vesk_register_signal(number, original), ignore_signal);
    EXPECT_EQ((installed.sa_flags & SA_SIGINFO) != 0, number != SIGUSR1);
    EXPECT_FALSE(installed.sa_flags & SA_RESTART);
    EXPECT_FALSE(sigismember(&installed.sa_mask, SIGTERM));
  }
}

TEST(Daemon, LeavesEverythingBehind) {
  const TempDir dir;
  const Child child = in_child([&] {
    const vxa::Descriptor low(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const pid_t started_by = getpid();
    if (!std::freopen(dir.path("output").c_str(), "w", stdout)) _exit(97);
    std::printf("once");
    if (_daemon_init() != 0) _exit(98);
    const int error = errno;
    std::string streams;
    for (const char* stream : {"0", "1", "2"})
      streams += std::filesystem::read_symlink(std::string("/proc/self/fd/") + stream).string() + " ";
    tell(getpid() != started_by, getsid(0) == getpid(), _daemon, umask(0), error, _valid_fd(low.get()), " ", streams,
         here());
  });
  EXPECT_EQ(child.status, 0) << "the parent ends well";
  EXPECT_EQ(child.report, "111000 /dev/null /dev/null /dev/null /tmp");
  EXPECT_EQ(TempDir::contents(dir.path("output")), "once") << "buffered output is written by one process";
}

TEST(Daemon, DetachesFromTheConsole) {
  const Child child = in_child([] {
    _vesk_detach_console();
    tell(std::filesystem::read_symlink("/proc/self/fd/2").string());
  });
  EXPECT_EQ(child.report, "/dev/null");
}

TEST(CoreDump, GoesToItsDirectoryOnce) {
  const TempDir dir;
  // SIGURG does nothing by default, so that the process lives on and can be asked.
  const Child child = in_child([&] {
    rlimit limit;
    getrlimit(RLIMIT_CORE, &limit);
    limit.rlim_cur = 0;
    setrlimit(RLIMIT_CORE, &limit);
    if (_vesk_set_coredumpdir(dir.path().c_str()) != 0) _exit(98);
    getrlimit(RLIMIT_CORE, &limit);
    _vesk_register_signal(SIGURG, _vesk_sig_coredump);
    raise(SIGURG);
    const bool reset = std::signal(SIGURG, _vesk_sig_coredump) == SIG_DFL;
    raise(SIGURG);
    const bool once = std::signal(SIGURG, SIG_DFL) == _vesk_sig_coredump;
    tell(here(), " ", _vesk_coredump, reset, once, limit.rlim_cur == limit.rlim_max);
  });
  EXPECT_EQ(child.report, dir.path() + " 1111");
}

TEST(CoreDump, DirectoryOfTheInstallation) {
  const TempDir dir;
  const std::string log = dir.path("log/slog");
  std::filesystem::create_directories(log);
  const std::string slashes(247 - dir.path().size(), '/');
  const std::pair<std::string, std::string> cases[] = {
      {dir.path() + "/./", log + " 0"},
      {slashes + dir.path(), log + " 0"},   // it is normalised before it is measured
      {std::string(247, 'd'), "/tmp -1"}};  // one character more than fits
  for (const auto& [installation, dumped_in] : cases) {
    const Environment set("VESKDIR", installation.c_str());
    const Child child = in_child([] {
      std::filesystem::current_path("/tmp");
      const int result = _vesk_set_coredumpdir(nullptr);
      std::signal(SIGURG, SIG_IGN);
      _vesk_sig_coredump(SIGURG);
      tell(here(), " ", result);
    });
    EXPECT_EQ(child.report, dumped_in);
  }
}

TEST(Commands, GiveTheirWaitStatusWhateverInterrupts) {
  const Environment set("VXA_T_A", "passed on");
  const pid_t other = fork();
  if (other == 0) _exit(7);
  {
    const peer::Interruptions interruptions;
    EXPECT_EQ(_vesk_system("sleep 0.2; test \"$VXA_T_A\" = 'passed on' && exit 5"), 5 << 8);
  }
  int status = 0;
  EXPECT_EQ(waitpid(other, &status, 0), other) << "the other child was left to its owner";
  EXPECT_EQ(WEXITSTATUS(status), 7);
  EXPECT_EQ(_vesk_system("kill -9 $$"), 9);
  EXPECT_EQ(_vesk_system(nullptr), 1);
}

TEST(RealWait, LastsWhateverInterrupts) {
  const peer::Interruptions interruptions;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(_vesk_real_wait(0), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(999)) << "a second at least";
}

}  // namespace
