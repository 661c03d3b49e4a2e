#pragma once

#include <unistd.h>

#include <memory>
#include <utility>

namespace quorle::hostdir {

/// An open descriptor of the host, closed at the end; -1 is none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      Close();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  ~Descriptor() { Close(); }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  int Release() { return std::exchange(fd_, -1); }
  void Close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  int fd_ = -1;
};

/// One that several share without a system call; it is closed when the last of them is gone.
class SharedDescriptor {
 public:
  SharedDescriptor() = default;
  explicit SharedDescriptor(int fd) {
    if (fd >= 0) shared_ = std::make_shared<Descriptor>(fd);
  }

  int get() const { return shared_ == nullptr ? -1 : shared_->get(); }
  explicit operator bool() const { return shared_ != nullptr; }
  void Close() { shared_.reset(); }
  /// The same where the caller wants to know how the closing went: what close() returned, or 0 when
  /// others share it still.
  int CloseChecked() {
    const std::shared_ptr<Descriptor> last = std::exchange(shared_, nullptr);
    return last.use_count() == 1 ? ::close(last->Release()) : 0;
  }

 private:
  std::shared_ptr<Descriptor> shared_;
};

}  // namespace quorle::hostdir
