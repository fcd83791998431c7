#ifndef OSTREL_BENCH_INSTRUCTIONS_ROWS_H
#define OSTREL_BENCH_INSTRUCTIONS_ROWS_H

#include "contender/Contender.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

/// What a row of the table does with one message. All of it runs on the calling thread, and nothing
/// in it waits: the two ends are in this process, and what is received is there already.
class Operation {
public:
    virtual ~Operation() = default;
    virtual void before() {}
    virtual void counted() = 0;
    virtual void after() {}
};

struct Row {
    std::string name; ///< Such as "receive/16x10": bytes of a part, times the number of parts.
    int batches;
    int messages; ///< In a batch.
    std::function<std::unique_ptr<Operation>(Contender&)> make;
};

const std::vector<Row>& rows();

} // namespace bench

#endif
