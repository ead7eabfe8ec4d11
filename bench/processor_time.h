#ifndef ZEVRA_BENCH_PROCESSOR_TIME_H
#define ZEVRA_BENCH_PROCESSOR_TIME_H

namespace zevra::bench {

// What all threads of this process have used so far, in milliseconds. Any thread.
double ProcessorMs();

}  // namespace zevra::bench

#endif
