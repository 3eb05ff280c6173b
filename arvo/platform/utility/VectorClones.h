#pragma once

/// Compiles a function twice, for the baseline and for AVX2, and picks one when the library is loaded.
///
/// For small kernels, templates too, in an anonymous namespace of a source file (elsewhere the dispatch symbol would be
/// exported). What they call must be inlined into them: plain inline code, or functions marked ARVO_KERNEL. Fused
/// multiply-add is not part of AVX2 and contraction is off, so both versions give the same bits. Empty where the
/// loader's indirect functions are not to be had: under sanitizers, which start after the loader has resolved them,
/// and on other compilers.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) &&     \
    !defined(__SANITIZE_THREAD__) && !defined(ARVO_BASELINE_ONLY)
#define ARVO_VECTOR_CLONES __attribute__((target_clones("default", "avx2")))
#else
#define ARVO_VECTOR_CLONES
#endif

/// A kernel that is compiled into its caller, so that it is compiled for the caller's instruction set.
#define ARVO_KERNEL [[gnu::always_inline]] inline

/// The same for a lambda, after its parameters.
#define ARVO_INLINED __attribute__((always_inline))
