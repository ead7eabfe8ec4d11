#ifndef ZEVRA_BENCH_CHILD_PROCESS_H
#define ZEVRA_BENCH_CHILD_PROCESS_H

#include <sys/resource.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace zevra::bench {

// A program that runs beside this one, its output thrown away. It is ended with its owner.
class ChildProcess {
 public:
  // Ends this process with a message if the program cannot be started.
  explicit ChildProcess(const std::vector<std::string>& command);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Processor time so far, of all its threads, in milliseconds. Ends this process with a message if
  // the program has ended meanwhile.
  double ProcessorMs() const;
  // Waits for its end, and gives the processor time of its whole life. Ends this process with a
  // message for an exit code other than 0.
  double AwaitEnd();
  // The same for a program that runs until it is told to end.
  double End();

 private:
  double Reap(int* status);

  std::string name_;
  int pid_ = 0;
};

double Median(std::vector<double> values);

}  // namespace zevra::bench

#endif
