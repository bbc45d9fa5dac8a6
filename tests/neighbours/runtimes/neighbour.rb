# Ruby with crash capture.
require 'fiddle'

library = Fiddle.dlopen(ENV.fetch('NEIGHBOUR_SHIM'))
step = Fiddle::Function.new(library['NeighbourNextStep'], [], Fiddle::TYPE_INT)
step.call
