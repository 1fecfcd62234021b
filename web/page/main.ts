import { App } from './app.js';

new App().start(document.body);
