#ifndef REQUEST_REPLY_MESSAGETYPES_H
#define REQUEST_REPLY_MESSAGETYPES_H

/// What the client and the server of the example say to each other. An answer has the type of its
/// request.
enum MessageType : int {
    countType = 1,     ///< A text; the answer is "lines words bytes", as wc counts.
    transformType = 2, ///< A text; the answer is the text with a to z in capitals.
    stopType = 3,      ///< The answer is empty. The server then waits for goodbyeType and ends.
    goodbyeType = 4,   ///< The client has the answer to its stop. Not answered.
    errorType = 100    ///< The answer to every other type: a text that names it.
};

#endif
