// Each operation of the library in the time of the bare work that it cannot do without; Pair.h says
// what is measured. scripts/bench.sh makes the corpus, runs this and writes docs/performance.md.
// The files lie below TMPDIR: choose the file system by it.

#include "Pair.h"

int main(int count, char** arguments)
{
    for (const auto& operations : {TextOperations, BookOperations, ChangeOperations, MailOperations,
                                   ThreadOperations, ToolOperations}) {
        Register(operations());
    }
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
