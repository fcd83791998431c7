#ifndef PUBLISH_SUBSCRIBE_AGREEMENT_H
#define PUBLISH_SUBSCRIBE_AGREEMENT_H

/// What the publisher and its subscribers agree on besides the lines themselves.
///
/// Every line travels under its file's path as the topic, so that a filter picks files by the start
/// of their path. Under markTopic the publisher sends marks: a number that grows, or endMark. A
/// subscriber confirms each mark once, by a request of markType that holds "<its name> <mark>",
/// which is answered. When the end is confirmed it says goodbyeMark in the same way: a publisher
/// that ended earlier would drop an answer that somebody still waits for.
constexpr auto markTopic = "//mark"; // No path begins so.
constexpr auto endMark = "end";
constexpr auto goodbyeMark = "goodbye";
constexpr int markType = 1;

#endif
