#ifndef TEXTS_STANDARDTOOLS_H
#define TEXTS_STANDARDTOOLS_H

#include <string>

/// "lines words bytes" of the file, by wc in the C locale.
std::string countByWc(const std::string& path);

/// The file's text with a to z in capitals, by tr in the C locale.
std::string capitalsByTr(const std::string& path);

#endif
