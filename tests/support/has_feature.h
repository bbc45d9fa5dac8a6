// What the compiler is asked whether it has; one that cannot be asked has nothing of it.
#ifndef TESTS_SUPPORT_HAS_FEATURE_H_
#define TESTS_SUPPORT_HAS_FEATURE_H_

#ifndef __has_feature
#define __has_feature(feature) 0
#endif

#endif  // TESTS_SUPPORT_HAS_FEATURE_H_
