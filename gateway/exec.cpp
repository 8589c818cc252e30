#include "gateway/exec.h"

#include <asio/posix/stream_descriptor.hpp>
#include <asio/read.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>
#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

#include "base/descriptor.h"
#include "gateway/assignment_text.h"

namespace vxa::gateway {

namespace {

using asio::posix::stream_descriptor;

struct Pipe {
  explicit Pipe(const std::array<int, 2>& ends) : read(ends[0]), write(ends[1]) {}
  Descriptor read;
  Descriptor write;
};

Pipe make_pipe() {
  std::array<int, 2> ends;
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  return Pipe{ends};
}

// What posix_spawn is told: standard input and output from the pipes, nothing else of the gateway's open files, a
// process group of its own, and SIGPIPE as usual.
class SpawnPlan {
 public:
  SpawnPlan(int input, int output) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
    posix_spawn_file_actions_adddup2(&actions_, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes_, &usual);
    posix_spawnattr_setpgroup(&attributes_, 0);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;
  ~SpawnPlan() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }

  pid_t spawn(const std::string& command) const {
    const char* arguments[] = {"sh", "-c", command.c_str(), nullptr};
    pid_t child = 0;
    const int error = posix_spawn(&child, "/bin/sh", &actions_, &attributes_, const_cast<char**>(arguments), environ);
    if (error) throw std::system_error(error, std::generic_category(), "/bin/sh");
    return child;
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

std::string input_for(const Request& request) {
  const MsgHeader& header = header_of(request.data);
  if (header.type == payload::kField) return assignment_text(request.data.get());
  auto length = static_cast<std::size_t>(header.datalen);
  if (header.type == payload::kString) length = strnlen(request.data.get(), length);
  return std::string(request.data.get(), length);
}

Buffer output_as(int type, const std::string& output) {
  if (type == payload::kField) return parse_assignments(output);
  if (type != payload::kCarray) return make_string(output);
  Buffer buffer = make_buffer("CARRAY", static_cast<std::int64_t>(output.size()));
  std::memcpy(buffer.get(), output.data(), output.size());
  header_of(buffer).datalen = static_cast<std::int32_t>(output.size());
  return buffer;
}

// One run of a command. It is over when the process has ended and its output is read to the end, or at the limit.
class Run : public std::enable_shared_from_this<Run> {
 public:
  Run(const asio::any_io_executor& executor, int type, std::string input, Answer answer)
      : type_(type),
        input_(std::move(input)),
        answer_(std::move(answer)),
        to_(executor),
        from_(executor),
        ended_(executor),
        timer_(executor) {}

  ~Run() { end(); }

  void start(const std::string& command, std::chrono::seconds limit) {
    Pipe in = make_pipe();
    Pipe out = make_pipe();
    child_ = SpawnPlan(in.read.get(), out.write.get()).spawn(command);
    const auto pidfd = static_cast<int>(::syscall(SYS_pidfd_open, child_, 0));
    if (pidfd < 0) throw std::system_error(errno, std::generic_category(), "pidfd_open");
    ended_.assign(pidfd);
    to_.assign(in.write.release());
    from_.assign(out.read.release());
    talk(limit);
  }

 private:
  void talk(std::chrono::seconds limit) {
    asio::async_write(to_, asio::buffer(input_), [self = shared_from_this()](const std::error_code&, std::size_t) {
      self->to_.close();  // a command need not read its input to the end
    });
    asio::async_read(from_, asio::dynamic_buffer(output_, kLargestPayload),
                     [self = shared_from_this()](const std::error_code& error, std::size_t) {
                       if (error != asio::error::eof) return self->finish({.error = TPESVCERR});
                       self->read_to_end_ = true;
                       self->finish_if_over();
                     });
    ended_.async_wait(stream_descriptor::wait_read, [self = shared_from_this()](const std::error_code& error) {
      self->has_ended_ = !error;
      self->finish_if_over();
    });
    timer_.expires_after(limit);
    timer_.async_wait([self = shared_from_this()](const std::error_code& error) {
      if (!error) self->finish({.error = TPESVCERR});
    });
  }

  void finish_if_over() {
    if (!answer_ || !has_ended_ || !read_to_end_) return;
    const int status = end();
    if (!WIFEXITED(status)) return finish({.error = TPESVCERR});
    const int code = WEXITSTATUS(status);
    try {
      finish({.data = output_as(type_, output_), .error = code ? TPESVCFAIL : 0, .result = code});
    } catch (const TextError&) {
      finish({.error = code ? TPESVCFAIL : TPESVCERR, .result = code});
    }
  }

  void finish(Reply reply) {
    end();
    timer_.cancel();
    to_.close();
    from_.close();
    ended_.close();
    if (const Answer answer = std::exchange(answer_, nullptr)) answer(std::move(reply));
  }

  // Ends what the command has started and left in its process group, and the command itself; gives its wait status. The
  // command is not waited for earlier, so the group's number is its own until then.
  int end() {
    if (child_ <= 0) return 0;
    ::kill(-child_, SIGKILL);
    int status = 0;
    while (::waitpid(child_, &status, 0) < 0 && errno == EINTR) {
    }
    child_ = 0;
    return status;
  }

  int type_;
  std::string input_;
  std::string output_;
  Answer answer_;
  stream_descriptor to_;
  stream_descriptor from_;
  stream_descriptor ended_;  // readable once the command has ended
  asio::steady_timer timer_;
  pid_t child_ = 0;
  bool has_ended_ = false;
  bool read_to_end_ = false;
};

}  // namespace

Service exec_service(const asio::any_io_executor& executor, const std::string& command, std::chrono::seconds limit) {
  return [executor, command, limit](Request request, const Answer& answer) {
    const int type = header_of(request.data).type;
    try {
      std::make_shared<Run>(executor, type, input_for(request), answer)->start(command, limit);
    } catch (const std::exception&) {
      answer({.error = TPESVCERR});
    }
  };
}

}  // namespace vxa::gateway
