#ifndef TEXTS_TEXTTYPES_H
#define TEXTS_TEXTTYPES_H

/// What the clients of the examples ask of servers and workers. An answer has the type of its
/// request.
enum TextType : int {
    countType = 1,     ///< A text; the answer is "lines words bytes", as wc counts.
    transformType = 2, ///< A text; the answer is the text with a to z in capitals.
    stopType = 3,      ///< The answer is empty. The server then waits for goodbyeType and ends.
    goodbyeType = 4,   ///< The client has the answer to its stop. Not answered.
    errorType = 100    ///< The answer to every other type: a text that names it.
};

#endif
