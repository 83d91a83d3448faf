#include "pcrecpp/RE.h"

#include "pcrecpp/FormerSyntax.h"
#include "pcrecpp/Workspace.h"

#include <array>
#include <atomic>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace pcrecpp
{

namespace
{

// The search for the place where a match may begin misses matches of some lazy and self-referring patterns, in
// version 10.42 at least. An answer counts for more than the time that the search saves.
constexpr std::uint32_t Options = PCRE2_NO_START_OPTIMIZE;

std::atomic<long> compiledCount{0};

std::string TextOf(int error)
{
    std::array<PCRE2_UCHAR, 256> text{};
    pcre2_get_error_message(error, text.data(), text.size());
    return reinterpret_cast<const char*>(text.data());
}

PCRE2_SPTR Bytes(std::string_view text) { return reinterpret_cast<PCRE2_SPTR>(text.data()); }

// `\K` is allowed in lookarounds, as in PCRE. Without memory the default holds.
pcre2_compile_context* Permissions()
{
    static pcre2_compile_context* const permissions = [] {
        pcre2_compile_context* const made = pcre2_compile_context_create(nullptr);
        if (made)
            pcre2_set_compile_extra_options(made, PCRE2_EXTRA_ALLOW_LOOKAROUND_BSK);
        return made;
    }();
    return permissions;
}

// Returns null and the error.
pcre2_code* Compile(std::string pattern, int& error)
{
    UseCurrentNames(pattern);
    for (;;) {
        PCRE2_SIZE offset = 0;
        pcre2_code* const code = pcre2_compile(Bytes(pattern), pattern.size(), Options, &error, &offset, Permissions());
        if (code || !RewriteRefusedClass(pattern, error, offset))
            return code;
    }
}

Workspaces& KeptWorkspaces()
{
    static Workspaces kept;
    return kept;
}

} // namespace

void RE::Free::operator()(pcre2_real_code_8* code) const { pcre2_code_free(code); }

RE::RE(const std::string& pattern)
{
    int error = 0;
    m_code.reset(Compile(pattern, error));
    if (!m_code && error == PCRE2_ERROR_HEAP_FAILED)
        throw std::bad_alloc();
    if (!m_code) {
        m_error = TextOf(error);
        return;
    }
    ++compiledCount;
    // A pattern that cannot become machine code, or a process that may not make any, is interpreted.
    static_cast<void>(pcre2_jit_compile(m_code.get(), PCRE2_JIT_COMPLETE));
}

long RE::CompiledCount() { return compiledCount; }

std::optional<bool> RE::DoMatch(std::string_view text) const
{
    if (!m_code)
        return false;
    std::unique_ptr<Workspace> workspace = KeptWorkspaces().Take();
    if (!workspace)
        return std::nullopt;
    const int result =
        pcre2_match(m_code.get(), Bytes(text), text.size(), 0, 0, workspace->Result(), workspace->Context());
    KeptWorkspaces().GiveBack(std::move(workspace));
    if (result < 0 && result != PCRE2_ERROR_NOMATCH)
        return std::nullopt;
    return result >= 0;
}

} // namespace pcrecpp
