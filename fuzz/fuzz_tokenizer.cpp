#include "Tokenizer.h"

#include <QString>

#include <cstdint>
#include <cstdlib>
#include <cstring>

// The input is raw UTF-16, lone surrogates included. Every token must be a fixed point of the
// tokenizer (already folded, lower case, without separators), or typed words could never meet
// indexed ones.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QString text(qsizetype(size / 2), Qt::Uninitialized);
    std::memcpy(text.data(), data, size / 2 * 2);
    (void)sonvale::normalize(text);
    for (const QString& token : sonvale::tokens(text)) {
        if (token.isEmpty() || sonvale::tokens(token) != QSet<QString>{token}) std::abort();
    }
    return 0;
}
