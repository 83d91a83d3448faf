// The first line is an expression, the rest a name: both are compiled and matched without an error, and the machine
// code says what the interpreter of the same expression says, unless one of them gives up.
#include "fuzz/FuzzInput.h"

#include "pcrecpp/RE.h"

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // A longer name costs more steps and shows nothing else.
    const std::string_view bytes = AsBytes(data, std::min<std::size_t>(size, 300));
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    const std::string expression(bytes.substr(0, end));
    const std::string_view name = bytes.substr(std::min(end + 1, bytes.size()));
    const pcrecpp::RE compiled(expression), interpreted("(*NO_JIT)" + expression);
    Require(compiled.error().empty() == interpreted.error().empty());
    const std::optional<bool> answer = compiled.DoMatch(name), again = interpreted.DoMatch(name);
    Require(!answer || !again || *answer == *again);
    Require(compiled.error().empty() || answer == false);
    return 0;
}
