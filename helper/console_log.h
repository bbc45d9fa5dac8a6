// Lines for the log beside NSLog's.
#ifndef HELPER_CONSOLE_LOG_H_
#define HELPER_CONSOLE_LOG_H_

#import <Foundation/Foundation.h>

// NSLog(@"%@", line) for a line that may hold a secret. On Linux such a line is for standard error
// alone: where that takes it no more, it goes nowhere, while others go to the system log.
void LogSecretLine(NSString *line);

#endif  // HELPER_CONSOLE_LOG_H_
