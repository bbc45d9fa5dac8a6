// Rust with crash capture.
use std::ffi::CString;
use std::os::raw::{c_char, c_int, c_void};

extern "C" {
    fn dlopen(path: *const c_char, flags: c_int) -> *mut c_void;
    fn dlsym(library: *mut c_void, name: *const c_char) -> *mut c_void;
}

const RTLD_NOW: c_int = 2;

fn main() {
    let path = CString::new(std::env::var("NEIGHBOUR_SHIM").unwrap()).unwrap();
    let name = CString::new("NeighbourNextStep").unwrap();
    unsafe {
        let function = dlsym(dlopen(path.as_ptr(), RTLD_NOW), name.as_ptr());
        let step: extern "C" fn() -> c_int = std::mem::transmute(function);
        step();
    }
}
