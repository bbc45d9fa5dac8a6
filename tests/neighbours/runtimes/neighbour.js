// Node with crash capture; its benign faults are reads behind the end of WebAssembly's memory.
'use strict';
const addon = { exports: {} };
process.dlopen(addon, process.env.NEIGHBOUR_NODE_SHIM);

// (module (memory 1) (func (export "load") (param i32) (result i32) (i32.load (local.get 0))))
const code = new Uint8Array([
  0x00, 0x61, 0x73, 0x6d, 0x01, 0x00, 0x00, 0x00, 0x01, 0x06, 0x01, 0x60, 0x01, 0x7f, 0x01, 0x7f, 0x03, 0x02, 0x01, 0x00,
  0x05, 0x03, 0x01, 0x00, 0x01, 0x07, 0x08, 0x01, 0x04, 0x6c, 0x6f, 0x61, 0x64, 0x00, 0x00, 0x0a, 0x09, 0x01, 0x07, 0x00,
  0x20, 0x00, 0x28, 0x02, 0x00, 0x0b,
]);
const { load } = new WebAssembly.Instance(new WebAssembly.Module(code)).exports;

function readsBehindTheEnd() {
  try {
    load(0x7fffffff);
    return false;
  } catch (error) {
    return error instanceof WebAssembly.RuntimeError;
  }
}

while (addon.exports.nextStep() !== 0) {
  for (let i = 0; i < 10000; ++i) {
    if (!readsBehindTheEnd()) process.exit(50);
  }
  process.stderr.write('10000 faults were benign\n');
}
