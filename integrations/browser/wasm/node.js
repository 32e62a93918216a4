// The compiler's own way to load a module takes whatever has fetch for a browser.
delete globalThis.fetch;
