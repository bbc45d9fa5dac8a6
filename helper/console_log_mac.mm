#import "helper/console_log.h"

void LogSecretLine(NSString *line) { NSLog(@"%@", line); }
